// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_SCRATCH_HPP
#define LINDRA_TESTS_SCRATCH_HPP

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace lindra::tests {

// A directory of a test's own, removed with all that is in it.
class ScratchDirectory {
  public:
    ScratchDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "lindra-test-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no scratch directory");
        path_ = name;
    }
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;

    const std::filesystem::path &path() const { return path_; }

    std::filesystem::path write(const std::string &name, const std::string &bytes) const {
        const std::filesystem::path path = path_ / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

  private:
    std::filesystem::path path_;
};

// An environment variable that has another value, or none (null), for a while.
class Environment {
  public:
    Environment(const char *name, const char *value) : name_(name) {
        if (const char *old = getenv(name)) {
            was_set_ = true;
            old_ = old;
        }
        set(value);
    }
    ~Environment() { set(was_set_ ? old_.c_str() : nullptr); }
    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

  private:
    void set(const char *value) const { value ? setenv(name_, value, 1) : unsetenv(name_); }

    const char *name_;
    bool was_set_ = false;
    std::string old_;
};

} // namespace lindra::tests

#endif
