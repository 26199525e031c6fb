#include <unistd.h>

#include <iostream>

#include "tn/log.h"
#include "tn/looper.h"
#include "tnctl/run.h"

int main(int argc, char** argv) {
    tn::setLogTarget(tn::LogTarget::None);  // what goes wrong is said on standard error, by the command itself
    tn::Looper looper({});
    const bool interactive = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
    return tnctl::run({argv + 1, argv + argc}, {std::cin, std::cout, std::cerr, interactive});
}
