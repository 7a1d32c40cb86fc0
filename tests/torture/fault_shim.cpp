// SPDX-License-Identifier: MIT
//
// A module to be preloaded into a program, of which it makes one call fail, or that call and all later ones
// of its class. Which one is told by four words:
//
//   class    allocation, open, read, write, memory, stat or place (see below)
//   callers  own: allocations that the program's own code makes, by way of the C and C++ libraries or not
//            all: those of every library, and system calls
//   mode     once, on (from then on), short (fewer bytes than asked for), interrupted (EINTR)
//   nth      the number of the call, from 1; 0 makes none fail
//
// They stand in the environment, LINDRA_FAULT=class/callers/mode/nth, for one run. With LINDRA_FAULT=server
// the program waits for requests on standard input, runs each in a process of its own and answers with how it
// ended and what was counted (see serve): the program is loaded once.
//
// Allocations are replaced functions. System calls are caught by a filter of the kernel (seccomp(2), Linux
// man-pages, 2022), because the C library's streams reach theirs without a symbol that could be replaced: the
// filter sends SIGSYS, whose handler makes the call itself or answers with an error. Nothing is counted
// before main.

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <iterator>
#include <link.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
long shim_call(long number, const long *arguments);
extern const char shim_call_returns[];
}

namespace {

// --- What is told ---

struct Report {
    std::atomic<uint64_t> calls;  // of the class
    std::atomic<uint64_t> failed; // of these
    char place[512];              // who made the first that failed: MODULE+0xOFFSET, from the call upward
    char ended[512];              // the same of where a signal ended the program
};

Report *report; // in memory that the server and its processes share

// --- What is asked for ---

enum class Kind { none, allocation, open, read, write, memory, stat, place };
enum class Mode { once, on, cut, interrupted };

constexpr struct {
    const char *name;
    Kind kind;
} kinds[] = {
    {"allocation", Kind::allocation}, {"open", Kind::open}, {"read", Kind::read},  {"write", Kind::write},
    {"memory", Kind::memory},         {"stat", Kind::stat}, {"place", Kind::place}};
constexpr struct {
    const char *name;
    Mode mode;
} modes[] = {
    {"once", Mode::once}, {"on", Mode::on}, {"short", Mode::cut}, {"interrupted", Mode::interrupted}};

Kind kind = Kind::none;
Mode mode = Mode::once;
uint64_t nth = 0;
bool own_only = false;
std::atomic<bool> is_active = false;
[[gnu::tls_model("initial-exec")]] thread_local bool is_inside = false;

// --- Who calls ---

enum class Whose { own, passing, others }; // passing: the C and C++ libraries and this module

struct Module {
    uintptr_t begin, end, base;
    Whose whose;
    char name[48];
};
Module modules[128];
size_t module_count = 0;

bool has(const char *text, const char *part) {
    return strstr(text, part) != nullptr;
}

Whose whose_is(const char *path) {
    if (!*path || has(path, "/liblindra.so")) return Whose::own; // the program itself has no path here
    for (const char *name :
         {"/libc.so", "/libstdc++.so", "/libgcc_s.so", "/ld-linux", "/libm.so", "fault_shim"})
        if (has(path, name)) return Whose::passing;
    return Whose::others;
}

int add_module(dl_phdr_info *info, size_t, void *) {
    if (module_count == std::size(modules)) return 1;
    Module &module = modules[module_count++];
    const char *name = strrchr(info->dlpi_name, '/');
    strncpy(module.name,
            name               ? name + 1
            : *info->dlpi_name ? info->dlpi_name
                               : "lindra",
            sizeof module.name - 1);
    module.base = info->dlpi_addr;
    module.whose = whose_is(info->dlpi_name);
    for (int i = 0; i < info->dlpi_phnum; i++) {
        const auto &part = info->dlpi_phdr[i];
        if (part.p_type != PT_LOAD) continue;
        const uintptr_t begin = info->dlpi_addr + part.p_vaddr;
        if (!module.end) module.begin = begin;
        module.end = begin + part.p_memsz;
    }
    return 0;
}

const Module *module_at(uintptr_t at) {
    for (size_t i = 0; i < module_count; i++)
        if (at >= modules[i].begin && at < modules[i].end) return &modules[i];
    return nullptr;
}

// The first caller outside the libraries that everybody's calls pass through.
_Unwind_Reason_Code find_caller(_Unwind_Context *frame, void *out) {
    const Module *module = module_at(_Unwind_GetIP(frame));
    const Whose whose = module ? module->whose : Whose::others;
    if (whose == Whose::passing) return _URC_NO_REASON;
    *static_cast<Whose *>(out) = whose;
    return _URC_END_OF_STACK;
}

bool is_own_call() {
    Whose whose = Whose::others;
    _Unwind_Backtrace(find_caller, &whose);
    return whose == Whose::own;
}

struct Text {
    char *to;
    size_t room;

    void add(const char *text) {
        while (*text && room > 1) {
            *to++ = *text++;
            room--;
        }
        *to = '\0';
    }
    void add_hex(uintptr_t number) {
        char digits[2 * sizeof number + 1] = {};
        char *at = digits + sizeof digits - 1;
        do
            *--at = "0123456789abcdef"[number % 16];
        while (number /= 16);
        add(at);
    }
};

_Unwind_Reason_Code add_frame(_Unwind_Context *frame, void *out) {
    auto *text = static_cast<Text *>(out);
    const uintptr_t at = _Unwind_GetIP(frame);
    const Module *module = module_at(at);
    if (module && has(module->name, "fault_shim")) return _URC_NO_REASON;
    text->add(module ? module->name : "?");
    text->add("+0x");
    text->add_hex(module ? at - module->base : at);
    text->add(" ");
    return text->room > 64 ? _URC_NO_REASON : _URC_END_OF_STACK;
}

void tell_frames(char (&to)[512]) {
    Text text = {to, sizeof to};
    _Unwind_Backtrace(add_frame, &text);
}

// --- Whether a call fails ---

bool is_chosen() {
    const uint64_t number = ++report->calls;
    if (nth == 0 || number < nth) return false;
    const bool goes_on = mode == Mode::on || mode == Mode::cut;
    if (number > nth && !goes_on) return false;
    if (!report->failed++) tell_frames(report->place);
    return true;
}

bool fails_allocation() {
    if (kind != Kind::allocation || !is_active || is_inside) return false;
    is_inside = true;
    const bool fails = (!own_only || is_own_call()) && is_chosen();
    is_inside = false;
    if (fails) errno = ENOMEM;
    return fails;
}

// --- System calls ---

constexpr struct {
    long number;
    Kind kind;
    int error;
} watched[] = {
    {SYS_open, Kind::open, EMFILE},       {SYS_openat, Kind::open, EMFILE},
    {SYS_read, Kind::read, EIO},          {SYS_pread64, Kind::read, EIO},
    {SYS_readv, Kind::read, EIO},         {SYS_getdents64, Kind::read, EIO},
    {SYS_write, Kind::write, ENOSPC},     {SYS_pwrite64, Kind::write, ENOSPC},
    {SYS_writev, Kind::write, ENOSPC},    {SYS_mmap, Kind::memory, ENOMEM},
    {SYS_mprotect, Kind::memory, ENOMEM}, {SYS_mremap, Kind::memory, ENOMEM},
    {SYS_stat, Kind::stat, EIO},          {SYS_lstat, Kind::stat, EIO},
    {SYS_fstat, Kind::stat, EIO},         {SYS_newfstatat, Kind::stat, EIO},
    {SYS_statx, Kind::stat, EIO},         {SYS_access, Kind::stat, EIO},
    {SYS_faccessat, Kind::stat, EIO},     {SYS_readlink, Kind::stat, EIO},
    {SYS_getcwd, Kind::stat, EIO},        {SYS_fsync, Kind::place, EIO},
    {SYS_fdatasync, Kind::place, EIO},    {SYS_ftruncate, Kind::place, EIO},
    {SYS_rename, Kind::place, EIO},       {SYS_fchmod, Kind::place, EIO},
    {SYS_mkdir, Kind::place, EIO},        {SYS_lseek, Kind::place, EIO},
    {SYS_close, Kind::place, EIO},
};

// A message must be able to reach standard error.
bool is_message(long number, const long *arguments) {
    return (number == SYS_write || number == SYS_writev) && arguments[0] == STDERR_FILENO;
}

bool transfers(long number) {
    return number == SYS_read || number == SYS_pread64 || number == SYS_write || number == SYS_pwrite64;
}

// Half of what was asked for, a byte at least.
long make_short(long number, const long *arguments) {
    long fewer[6];
    memcpy(fewer, arguments, sizeof fewer);
    if (transfers(number) && fewer[2] > 1) fewer[2] = (fewer[2] + 1) / 2;
    return shim_call(number, fewer);
}

long answer(long number, const long *arguments, const Module *from) {
    int error = 0;
    for (const auto &each : watched)
        if (each.number == number) error = each.error;
    // The dynamic loader takes a module for damaged of which it is given less than it asked for.
    const bool counts = is_active && !(mode == Mode::cut && from && has(from->name, "ld-linux")) &&
                        !is_message(number, arguments) &&
                        (mode == Mode::once || mode == Mode::on || transfers(number));
    if (!counts || !is_chosen()) return shim_call(number, arguments);
    if (mode == Mode::cut) return make_short(number, arguments);
    if (mode == Mode::interrupted) return -EINTR;
    // The kernel closes a file that it complains about, too.
    if (number == SYS_close) shim_call(number, arguments);
    return -error;
}

void on_call(int, siginfo_t *info, void *context) {
    const int kept = errno;
    auto &registers = static_cast<ucontext_t *>(context)->uc_mcontext.gregs;
    const long arguments[6] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                               registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
    registers[REG_RAX] =
        answer(info->si_syscall, arguments, module_at(static_cast<uintptr_t>(registers[REG_RIP])));
    errno = kept;
}

[[noreturn]] void give_up(const char *reason) {
    dprintf(STDERR_FILENO, "fault_shim: %s\n", reason);
    _exit(99);
}

// After a call that failed.
[[noreturn]] void give_up_on(const char *what) {
    dprintf(STDERR_FILENO, "fault_shim: %s: %s\n", what, strerror(errno));
    _exit(99);
}

// All calls of the class but the one that the handler makes itself.
void catch_system_calls() {
    struct sigaction action = {};
    action.sa_sigaction = on_call;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART;
    sigaction(SIGSYS, &action, nullptr);

    const auto ours = reinterpret_cast<uintptr_t>(shim_call_returns);
    sock_filter filter[64] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(ours), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer) + 4),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(ours >> 32), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    unsigned short size = 6;
    for (const auto &each : watched) {
        if (each.kind != kind) continue;
        filter[size++] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(each.number), 0, 1);
        filter[size++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);
    }
    filter[size++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const sock_fprog program = {size, filter};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        give_up_on("the kernel takes no filter of system calls");
}

// --- The beginning ---

using Main = int(int, char **, char **);
Main *program_main;

// CLASS/CALLERS/MODE/NTH
void take_request(const char *request) {
    char words[4][16] = {};
    if (sscanf(request, "%15[^/]/%15[^/]/%15[^/]/%15s", words[0], words[1], words[2], words[3]) != 4)
        give_up("LINDRA_FAULT is not CLASS/CALLERS/MODE/NTH");
    for (const auto &each : kinds)
        if (!strcmp(each.name, words[0])) kind = each.kind;
    own_only = !strcmp(words[1], "own");
    if (!own_only && strcmp(words[1], "all") != 0) give_up("LINDRA_FAULT names no callers");
    bool has_mode = false;
    for (const auto &each : modes) {
        if (strcmp(each.name, words[2]) != 0) continue;
        mode = each.mode;
        has_mode = true;
    }
    if (!has_mode) give_up("LINDRA_FAULT names no mode");
    nth = strtoull(words[3], nullptr, 10);
    if (kind == Kind::none) give_up("LINDRA_FAULT names no class");
}

void on_end(int number) {
    is_active = false;
    tell_frames(report->ended);
    std::signal(number, SIG_DFL);
    std::raise(number);
}

int run_main(const char *request, int argc, char **argv, char **environment) {
    take_request(request);
    for (const int number : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGALRM})
        std::signal(number, on_end);
    if (kind != Kind::allocation) catch_system_calls();
    is_active = true;
    return program_main(argc, argv, environment);
}

// --- The server ---

constexpr unsigned longest_run = 60; // seconds
constexpr size_t most_arguments = 64;
char request_text[1 << 14]; // words closed by zero bytes: LINDRA_FAULT, directory, arguments
uint32_t request_size;

bool read_fully(void *to, size_t size) {
    for (auto *at = static_cast<char *>(to); size > 0;) {
        const ssize_t got = read(STDIN_FILENO, at, size);
        if (got <= 0) return false;
        at += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

void redirect(int descriptor, const char *path, int flags) {
    const int file = open(path, flags | O_CLOEXEC, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) give_up_on(path);
    close(file);
}

// In the directory there are work, where the program runs, and what it prints.
int run_request(char **environment) {
    char *words[most_arguments] = {};
    size_t count = 0;
    for (char *word = request_text; word < request_text + request_size && count < most_arguments - 1;
         word += strlen(word) + 1)
        words[count++] = word;
    if (chdir(words[1]) != 0) give_up_on(words[1]);
    redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    redirect(STDOUT_FILENO, "output", O_WRONLY | O_CREAT);
    redirect(STDERR_FILENO, "errors", O_WRONLY | O_CREAT);
    if (chdir("work") != 0) give_up_on("work");
    alarm(longest_run);
    return run_main(words[0], static_cast<int>(count) - 2, words + 2, environment);
}

// Returns only in the process of a request.
int serve(char **environment) {
    while (read_fully(&request_size, sizeof request_size) && request_size < sizeof request_text &&
           read_fully(request_text, request_size)) {
        memset(static_cast<void *>(report), 0, sizeof *report);
        const pid_t child = fork();
        if (child == 0) return run_request(environment);
        int status = 0;
        waitpid(child, &status, 0);
        if (write(STDOUT_FILENO, &status, sizeof status) != sizeof status ||
            write(STDOUT_FILENO, static_cast<void *>(report), sizeof *report) != sizeof *report)
            break;
    }
    _exit(0);
}

int watched_main(int argc, char **argv, char **environment) {
    const char *request = getenv("LINDRA_FAULT");
    if (!request) give_up("LINDRA_FAULT is not set");
    dl_iterate_phdr(add_module, nullptr);
    void *shared = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) give_up_on("no memory for the report");
    report = static_cast<Report *>(shared);
    if (!strcmp(request, "server")) return serve(environment);
    return run_main(request, argc, argv, environment);
}

} // namespace

// number in rdi, arguments in rsi. What the filter knows is the address behind the instruction.
asm(R"(
    .text
    .globl shim_call
    .hidden shim_call
    .type shim_call, @function
shim_call:
    .cfi_startproc
    mov %rdi, %rax
    mov %rsi, %r11
    mov (%r11), %rdi
    mov 8(%r11), %rsi
    mov 16(%r11), %rdx
    mov 24(%r11), %r10
    mov 32(%r11), %r8
    mov 40(%r11), %r9
    syscall
    .globl shim_call_returns
    .hidden shim_call_returns
shim_call_returns:
    ret
    .cfi_endproc
)");

// --- What is replaced ---

#define EXPORT [[gnu::visibility("default")]]

extern "C" {

EXPORT int __libc_start_main(Main *main, int argc, char **argv, void (*init)(), void (*fini)(),
                             void (*rtld)(), void *stack) {
    using Start = int(Main *, int, char **, void (*)(), void (*)(), void (*)(), void *);
    auto *start = reinterpret_cast<Start *>(dlsym(RTLD_NEXT, "__libc_start_main"));
    program_main = main;
    return start(watched_main, argc, argv, init, fini, rtld, stack);
}

EXPORT void *malloc(size_t size) {
    return fails_allocation() ? nullptr : __libc_malloc(size);
}
EXPORT void *calloc(size_t count, size_t size) {
    return fails_allocation() ? nullptr : __libc_calloc(count, size);
}
EXPORT void *realloc(void *block, size_t size) {
    return fails_allocation() ? nullptr : __libc_realloc(block, size);
}
EXPORT void *aligned_alloc(size_t alignment, size_t size) {
    return fails_allocation() ? nullptr : __libc_memalign(alignment, size);
}
EXPORT void *memalign(size_t alignment, size_t size) {
    return fails_allocation() ? nullptr : __libc_memalign(alignment, size);
}
EXPORT int posix_memalign(void **out, size_t alignment, size_t size) {
    if (fails_allocation()) return ENOMEM;
    *out = __libc_memalign(alignment, size);
    return *out ? 0 : ENOMEM;
}
}
