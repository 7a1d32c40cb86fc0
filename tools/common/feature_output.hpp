// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_FEATURE_OUTPUT_HPP
#define LINDRA_TOOLS_FEATURE_OUTPUT_HPP

#include "common/data_output.hpp"

#include <string>
#include <string_view>

namespace lindra::tools {

// Features one after the other: one FeatureCollection (RFC 7946, 2016), or a text sequence (RFC 8142, 2017).
class FeatureOutput {
  public:
    enum class Form { collection, sequence };

    // An empty path is standard output.
    FeatureOutput(Form form, const std::string &path) : form_(form), output_(path) {
        if (form_ == Form::collection) output_.write("{\"type\":\"FeatureCollection\",\"features\":[");
    }

    void write(std::string_view feature) {
        output_.write(form_ == Form::sequence ? "\x1e" : first_ ? "\n" : ",\n");
        output_.write(feature);
        if (form_ == Form::sequence) output_.write("\n");
        first_ = false;
    }

    void finish() {
        if (form_ == Form::collection) output_.write("\n]}\n");
        output_.finish();
    }

  private:
    Form form_;
    DataOutput output_;
    bool first_ = true;
};

} // namespace lindra::tools

#endif
