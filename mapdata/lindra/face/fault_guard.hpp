// SPDX-License-Identifier: MIT
//
// Files that others cut while they are read. Where a large file is mapped, a byte that is there no more is a
// fault: the kernel sends SIGBUS, and the process ends. While a guard lives, the fault of a file that it
// guards is an exception instead.
//
// Nothing jumps out of the handler. It puts zeros in the place of what is gone and lets the reader go on,
// which can be trusted with any bytes; the guard then finds that the file was harmed. A file stays harmed,
// because its zeros stay.
//
// The handler is there while any thread has a guard, and no longer. It knows the files of its own thread
// alone and hands every other fault to the handler that was there before.
#ifndef LINDRA_FACE_FAULT_GUARD_HPP
#define LINDRA_FACE_FAULT_GUARD_HPP

#include "mapped_file.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <type_traits>
#include <utility>

namespace lindra {

namespace detail {

// The files of one guard, and the guard around it on the same thread.
struct guarded_files {
    mapped_files files;
    const guarded_files *outer;
};

// Of this thread. The model of storage is the one that is reached without a call that could allocate.
[[gnu::tls_model("initial-exec")]] inline constinit thread_local const guarded_files *innermost_guard =
    nullptr;

class fault_handler {
  public:
    static void add_guard() {
        const std::lock_guard<std::mutex> guard(lock_);
        if (guards_++ == 0 && !is_installed_) install();
    }

    static void remove_guard() {
        const std::lock_guard<std::mutex> guard(lock_);
        if (--guards_ == 0) remove();
    }

  private:
    // What was there before is known before the first fault can come. How signals are held back meanwhile is
    // as the host has it.
    static void install() {
        sigaction(SIGBUS, nullptr, &before_);
        struct sigaction ours = {};
        ours.sa_sigaction = handle;
        ours.sa_mask = before_.sa_mask;
        ours.sa_flags = SA_SIGINFO | SA_ONSTACK | (before_.sa_flags & (SA_NODEFER | SA_RESTART));
        sigaction(SIGBUS, &ours, nullptr);
        is_installed_ = true;
    }

    // A handler that was set on top of ours may hand faults on to it: then ours stays below.
    static void remove() {
        struct sigaction now = {};
        sigaction(SIGBUS, nullptr, &now);
        if (!(now.sa_flags & SA_SIGINFO) || now.sa_sigaction != handle) return;
        sigaction(SIGBUS, &before_, nullptr);
        is_installed_ = false;
    }

    static void handle(int number, siginfo_t *info, void *context) {
        const int kept = errno;
        if (info->si_code != BUS_ADRERR || !is_mended(info->si_addr)) pass_on(number, info, context);
        errno = kept;
    }

    static bool is_mended(const void *at) {
        for (const guarded_files *guard = innermost_guard; guard; guard = guard->outer)
            for (mapping *file : guard->files)
                if (file && file->holds(at)) return file->lose(at);
        return false;
    }

    static void pass_on(int number, siginfo_t *info, void *context) {
        const bool was_sent = info->si_code <= 0; // by a process; a fault cannot be ignored
        if (before_.sa_flags & SA_SIGINFO) return before_.sa_sigaction(number, info, context);
        if (before_.sa_handler == SIG_IGN && was_sent) return;
        if (before_.sa_handler != SIG_DFL && before_.sa_handler != SIG_IGN) return before_.sa_handler(number);
        // A fault comes again as soon as this returns, and then ends the process.
        std::signal(number, SIG_DFL);
        if (was_sent) std::raise(number);
    }

    static inline std::mutex lock_;
    static inline size_t guards_ = 0;
    static inline bool is_installed_ = false;
    static inline struct sigaction before_ = {};
};

} // namespace detail

// fault_guard: while it lives, this thread may look at an open shapefile or texture that others cut
// meanwhile. Bytes that are gone are read as zeros, and check throws error with the file and the byte that
// was looked for first. The constructor does so too, when that happened under an earlier guard. Guards may
// stand within guards; each ends on its thread, in reverse order, before its file. Files up to 16 MiB are
// private copies, for which it does nothing.
class fault_guard {
  public:
    template <class File>
    explicit fault_guard(const File &file) : fault_guard(file.mapped_files()) {}

    explicit fault_guard(const detail::mapped_files &files) : here_{files, detail::innermost_guard} {
        check();
        for (const detail::mapping *file : files)
            if (file) is_needed_ = true;
        if (!is_needed_) return;
        detail::fault_handler::add_guard();
        detail::innermost_guard = &here_;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }

    ~fault_guard() {
        if (!is_needed_) return;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        detail::innermost_guard = here_.outer;
        detail::fault_handler::remove_guard();
    }
    fault_guard(const fault_guard &) = delete;
    fault_guard &operator=(const fault_guard &) = delete;

    void check() const {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        for (const detail::mapping *file : here_.files)
            if (file) file->require_whole();
    }

  private:
    detail::guarded_files here_;
    bool is_needed_ = false;
};

// guarded calls call under a guard of file and returns what it returns. Throws error when the file was found
// cut, in the place of any other exception, which would speak of bytes that were never there.
template <class File, class Call>
auto guarded(const File &file, Call &&call) {
    const fault_guard guard(file);
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Call>>) {
            std::forward<Call>(call)();
            guard.check();
        } else {
            auto result = std::forward<Call>(call)();
            guard.check();
            return result;
        }
    } catch (...) {
        guard.check();
        throw;
    }
}

} // namespace lindra

#endif
