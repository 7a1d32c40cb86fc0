// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_INTERRUPTION_HPP
#define LINDRA_TOOLS_INTERRUPTION_HPP

namespace lindra::tools {

// While one lives, a request to end (Ctrl-C, SIGTERM, a closed terminal) waits until the work has come to a
// point where it can end in good order. There is at most one.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    static bool is_asked();

    // Ends the process as the request would have done at once, if there was one.
    static void end_if_asked();
};

} // namespace lindra::tools

#endif
