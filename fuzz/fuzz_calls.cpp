// Fuzzer of call sequences: bytes become calls of all 65 functions, in any order and with any
// handle. The invariants of the registry hold after every few calls, and a session that has ended
// leaves nothing.
#include "support_program.hpp"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string wrong = fuzz::run_program({data, size}, true, 8);
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s\n", wrong.c_str());
        std::abort();
    }
    return 0;
}
