// SPDX-License-Identifier: MIT

#include "program.hpp"

int main(int argc, char **argv) {
    return lindra::tools::run_program(argc, argv);
}
