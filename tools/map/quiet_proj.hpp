// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_QUIET_PROJ_HPP
#define LINDRA_TOOLS_QUIET_PROJ_HPP

#include <new>
#include <proj.h>

namespace lindra::tools {

// A new context of PROJ, which says nothing: what fails is told once, by us. Some of its messages follow the
// level of the context that it was made from. Throws std::bad_alloc.
inline PJ_CONTEXT *quiet_context() {
    proj_log_level(nullptr, PJ_LOG_NONE);
    PJ_CONTEXT *context = proj_context_create();
    if (!context) throw std::bad_alloc();
    proj_log_level(context, PJ_LOG_NONE);
    proj_log_func(context, nullptr, [](void *, int, const char *) {});
    return context;
}

} // namespace lindra::tools

#endif
