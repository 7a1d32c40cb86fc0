// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_NETCDF_FILE_HPP
#define LINDRA_TOOLS_NETCDF_FILE_HPP

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lindra::tools {

// No stored byte of the compression that these files use stands for more bytes than this (P. Deutsch, RFC
// 1951, 1996: 258 bytes from two bits). A variable that claims more is not backed by the file.
constexpr std::uintmax_t greatest_expansion = 1032;

// Whether a call of libnetcdf did its work. Throws std::bad_alloc where it lacked memory.
bool works(int status);

// A netCDF file opened for reading. Every failure but that for lack of memory throws DataError, which names
// the file and, where one is concerned, the variable.
class NetcdfFile {
  public:
    explicit NetcdfFile(std::filesystem::path path);
    ~NetcdfFile();
    NetcdfFile(const NetcdfFile &) = delete;
    NetcdfFile &operator=(const NetcdfFile &) = delete;

    // All values of a variable of one dimension, which must have exactly count of them and be stored as
    // Value: int8_t, int16_t, int32_t or double, or uint16_t for a signed 16-bit variable whose bits are
    // meant unsigned.
    template <class Value>
    std::vector<Value> read(const char *variable, size_t count) const;

    // The one value of an int variable, which must lie in low..high.
    int32_t read_number(const char *variable, int32_t low, int32_t high) const;

    // Throws DataError: the file's name, the variable's, and what is wrong with it.
    [[noreturn]] void fail(const char *variable, const std::string &what) const;

  private:
    int require(const char *variable, int type, size_t count, size_t value_size) const;

    std::filesystem::path path_;
    std::uintmax_t size_ = 0;
    int id_ = -1;
};

} // namespace lindra::tools

#endif
