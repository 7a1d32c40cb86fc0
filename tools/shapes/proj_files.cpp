// SPDX-License-Identifier: MIT

#include "shapes/proj_files.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

FILE *stream(PROJ_FILE_HANDLE *handle) {
    return reinterpret_cast<FILE *>(handle);
}

// Whether one of the directories, separated by colons, is that in which the path's file lies, by its name.
bool has_directory_of(std::string_view directories, const fs::path &path) {
    while (!directories.empty()) {
        const size_t end = std::min(directories.find(':'), directories.size());
        if (fs::path(directories.substr(0, end)) / path.filename() == path) return true;
        directories.remove_prefix(std::min(end + 1, directories.size()));
    }
    return false;
}

} // namespace

ProjFiles::ProjFiles(PJ_CONTEXT *context) : directories_(proj_info().searchpath) {
    PROJ_FILE_API api = {};
    api.version = 1;
    api.open_cbk = open;
    api.exists_cbk = exists;
    api.read_cbk = [](PJ_CONTEXT *, PROJ_FILE_HANDLE *file, void *buffer, size_t size, void *) {
        return fread(buffer, 1, size, stream(file));
    };
    api.seek_cbk = [](PJ_CONTEXT *, PROJ_FILE_HANDLE *file, long long offset, int whence, void *) {
        return int{fseeko(stream(file), offset, whence) == 0};
    };
    api.tell_cbk = [](PJ_CONTEXT *, PROJ_FILE_HANDLE *file, void *) {
        return static_cast<unsigned long long>(ftello(stream(file)));
    };
    api.close_cbk = [](PJ_CONTEXT *, PROJ_FILE_HANDLE *file, void *) { fclose(stream(file)); };
    api.write_cbk = [](PJ_CONTEXT *, PROJ_FILE_HANDLE *, const void *, size_t, void *) { return size_t{0}; };
    api.mkdir_cbk = api.unlink_cbk = [](PJ_CONTEXT *, const char *, void *) { return 0; };
    api.rename_cbk = [](PJ_CONTEXT *, const char *, const char *, void *) { return 0; };
    if (!proj_context_set_fileapi(context, &api, this)) throw std::bad_alloc();
    proj_context_set_enable_network(context, 0);
}

// A link in a directory of PROJ's leads where the owner of that wants it to lead.
bool ProjFiles::allows(const fs::path &path) {
    const bool is_own = has_directory_of(directories_, path);
    if (!is_own && path.has_parent_path() && refused_.empty()) refused_ = path.string();
    std::error_code absent;
    return is_own && fs::is_regular_file(path, absent);
}

// No exception may go through PROJ.
PROJ_FILE_HANDLE *ProjFiles::open(PJ_CONTEXT *, const char *path, PROJ_OPEN_ACCESS access, void *self) {
    try {
        if (access != PROJ_OPEN_ACCESS_READ_ONLY || !static_cast<ProjFiles *>(self)->allows(path))
            return nullptr;
        return reinterpret_cast<PROJ_FILE_HANDLE *>(fopen(path, "rbe"));
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

int ProjFiles::exists(PJ_CONTEXT *, const char *path, void *self) {
    try {
        return static_cast<ProjFiles *>(self)->allows(path);
    } catch (const std::bad_alloc &) {
        return 0;
    }
}

} // namespace lindra::tools
