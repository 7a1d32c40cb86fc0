// SPDX-License-Identifier: MIT
//
// The search for data files, after the XDG Base Directory Specification (2021). The install prefix is not
// compiled in: it is found from where the code was loaded from, so that an installed tree can be moved as a
// whole. A library in PREFIX/lib/ARCH, PREFIX/lib or a program in PREFIX/bin all see PREFIX/share.

#include "support.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace {

using Directories = std::vector<std::string>;

constexpr int prefix_levels = 3;

const char *variable(const char *name) {
    const char *value = getenv(name);
    return value && *value ? value : nullptr;
}

template <class Accept>
void add_list(Directories &to, std::string_view list, Accept accept) {
    while (!list.empty()) {
        const std::string_view item = list.substr(0, list.find(':'));
        if (!item.empty() && accept(item.front())) to.emplace_back(item);
        list.remove_prefix(std::min(item.size() + 1, list.size()));
    }
}

bool any(char) {
    return true;
}
bool absolute(char first) {
    return first == '/';
}

void add_user_directory(Directories &to) {
    const char *data_home = variable("XDG_DATA_HOME");
    const char *home = variable("HOME");
    if (data_home && absolute(*data_home))
        to.emplace_back(data_home);
    else if (home)
        to.push_back(std::string(home) + "/.local/share");
}

// The file this code was loaded from, links resolved. A program that was found through PATH knows itself by
// its bare name only; the kernel knows the place.
std::string loaded_from() {
    Dl_info here;
    if (!dladdr(reinterpret_cast<void *>(&datafile), &here) || !here.dli_fname) return {};
    const char *name = strchr(here.dli_fname, '/') ? here.dli_fname : "/proc/self/exe";
    const std::unique_ptr<char, decltype(&free)> resolved(realpath(name, nullptr), free);
    if (!resolved && errno == ENOMEM) throw std::bad_alloc();
    return resolved ? resolved.get() : std::string();
}

// The system fails to look something up: a file may be there that another one must not stand in for.
struct NotLookedUp : std::exception {};

// What may not be looked up is passed over like what is not there.
bool is_passed_over(int reason) {
    return reason == ENOENT || reason == ENOTDIR || reason == ELOOP || reason == ENAMETOOLONG ||
           reason == EACCES;
}

// Whether something of that type is there.
bool is_there(const std::string &path, mode_t type) {
    struct stat found;
    if (stat(path.c_str(), &found) == 0) return (found.st_mode & S_IFMT) == type;
    if (!is_passed_over(errno)) throw NotLookedUp();
    return false;
}

void add_prefix_directory(Directories &to) {
    std::string place = loaded_from();
    for (int level = 0; level < prefix_levels; level++) {
        const size_t slash = place.rfind('/');
        if (slash == std::string::npos) return;
        place.resize(slash);
        if (place.empty()) return;
        if (const std::string share = place + "/share"; is_there(share, S_IFDIR)) {
            to.push_back(share);
            return;
        }
    }
}

Directories data_directories(const char *env) {
    Directories all;
    if (const char *own = variable(env ? env : "LINDRA_DATA")) add_list(all, own, any);
    add_user_directory(all);
    add_prefix_directory(all);
    const char *system = variable("XDG_DATA_DIRS");
    add_list(all, system ? system : "/usr/local/share:/usr/share", absolute);
    return all;
}

} // namespace

char *datafile(const char *env, const char *relative_path) {
    if (!relative_path || !*relative_path) return nullptr;
    try {
        for (const std::string &directory : data_directories(env)) {
            const std::string path = directory + "/" + relative_path;
            if (is_there(path, S_IFREG)) return strdup(path.c_str());
        }
    } catch (const std::exception &) {
    }
    return nullptr;
}

char *lindra_data_directories(const char *env) {
    try {
        std::string text;
        for (const std::string &directory : data_directories(env))
            text += (text.empty() ? "" : "\n") + directory;
        return strdup(text.c_str());
    } catch (const std::exception &) {
        return nullptr;
    }
}
