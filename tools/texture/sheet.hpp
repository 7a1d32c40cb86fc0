// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHEET_HPP
#define LINDRA_TOOLS_SHEET_HPP

#include "texture/png_file.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace lindra::tools {

// A contact sheet: thumbnails in columns and rows, their colours without alpha, each with a caption under
// it.
class Sheet {
  public:
    static constexpr int most_rows = 100;

    // rows: from 1 to most_rows. Throws DataError when there is no memory for the page.
    Sheet(int columns, int rows);
    ~Sheet();
    Sheet(const Sheet &) = delete;
    Sheet &operator=(const Sheet &) = delete;

    void add(int column, int row, const PixelImage &image, const std::string &caption);

    void write(const std::string &path);

  private:
    struct Page;
    std::unique_ptr<Page> page_;
};

} // namespace lindra::tools

#endif
