// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_RECORD_LIST_HPP
#define LINDRA_TOOLS_DUMP_RECORD_LIST_HPP

#include "common/data_output.hpp"
#include "dump/json.hpp"

#include <string>

namespace lindra::tools {

// A JSON document of facts whose last member is a long list of that name, written one record a line, so that
// it never stands in memory as a whole.
class RecordList {
  public:
    RecordList(const Json &facts, const std::string &name) : out_("") {
        std::string head = json_text(facts, 2);
        head.resize(head.size() - 2); // the line end and the brace
        out_.write(head + ",\n  \"" + name + "\": [");
    }

    void add(const Json &record) {
        out_.write(first_ ? "\n    " : ",\n    ");
        out_.write(json_text(record, -1));
        first_ = false;
    }

    void finish() {
        out_.write(first_ ? "]\n}\n" : "\n  ]\n}\n");
        out_.finish();
    }

  private:
    DataOutput out_;
    bool first_ = true;
};

} // namespace lindra::tools

#endif
