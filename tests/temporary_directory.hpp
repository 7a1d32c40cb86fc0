// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_TEMPORARY_DIRECTORY_HPP
#define LINDRA_TESTS_TEMPORARY_DIRECTORY_HPP

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace lindra::test {

// A new directory, removed with all it holds.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "lindra-test-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp failed");
        path_ = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    const std::filesystem::path &path() const { return path_; }

    // Writes a file, with the directories on its way, and returns its full path.
    std::string write(const std::string &name, std::string_view bytes) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        // A file written over is flushed to the disk by some file systems; a new one is not.
        std::filesystem::remove(file);
        std::ofstream(file, std::ios::binary) << bytes;
        return file.string();
    }

  private:
    std::filesystem::path path_;
};

// While one lives, an environment variable has another value.
class Environment {
  public:
    Environment(const char *name, const char *value) : name_(name) {
        if (const char *before = getenv(name)) {
            before_ = before;
            was_set_ = true;
        }
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~Environment() { was_set_ ? setenv(name_, before_.c_str(), 1) : unsetenv(name_); }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

  private:
    const char *name_;
    bool was_set_ = false;
    std::string before_;
};

} // namespace lindra::test

#endif
