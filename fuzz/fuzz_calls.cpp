// Fuzzer of call sequences: bytes become calls of the functions that SQL has, in any order and with
// any handle. The invariants of the registry hold after every few calls, and a session that has
// ended leaves nothing. At its end it tells how many calls that were.
#include "support_program.hpp"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

struct totals {
    std::size_t programs;
    std::size_t calls;
    std::size_t audits;
};
totals all{};

void tell() {
    std::fprintf(stderr, "%zu programs, %zu calls, %zu audits\n", all.programs, all.calls,
                 all.audits);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (all.programs == 0) {
        std::atexit(tell);
    }
    const std::span<const std::uint8_t> bytes(data, size);
    const fuzz::played played = fuzz::run_program(bytes, true, fuzz::drawn_interval(bytes));
    ++all.programs;
    all.calls += played.calls;
    all.audits += played.audits;
    if (!played.wrong.empty()) {
        std::fprintf(stderr, "%s\n", played.wrong.c_str());
        std::abort();
    }
    return 0;
}
