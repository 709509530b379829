// Random programs of calls on the standalone host, as SQL statements with what they gave, for
// another host to be compared with.
//
//   differential FIRST-SEED COUNT
//
// Prints for each program a line "session SEED", then two lines for each call: the statement and
// the outcome, both with \ and line ends escaped.
#include "support_program.hpp"

#include "standalone_session.hpp"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t k_program_size = 1500;

void print_line(std::string_view text) {
    std::string line;
    for (const char character : text) {
        if (character == '\n') {
            line += "\\n";
        } else if (character == '\r') {
            line += "\\r";
        } else if (character == '\\') {
            line += "\\\\";
        } else {
            line += character;
        }
    }
    std::puts(line.c_str());
}

sql::result print_call(const fuzz::program_call &call) {
    const sql::result outcome = fuzz::make(call);
    print_line(call.statement);
    print_line(fuzz::shown(call, outcome));
    return outcome;
}

void play(std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes(k_program_size);
    for (std::uint8_t &byte : bytes) {
        byte = static_cast<std::uint8_t>(numbers());
    }
    std::printf("session %u\n", seed);
    host::standalone::begin_session("UTF8");
    fuzz::program calls(bytes, false, true);
    fuzz::program_call call{};
    while (calls.next(call)) {
        calls.note(call, print_call(call));
    }
    for (const fuzz::program_call &last : calls.closing_calls()) {
        print_call(last);
    }
    host::standalone::end_session();
}

} // namespace

int main(int count, char **arguments) {
    if (count != 3) {
        std::fputs("usage: differential FIRST-SEED COUNT\n", stderr);
        return 2;
    }
    const auto first = static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 10));
    const auto programs = static_cast<std::uint32_t>(std::strtoul(arguments[2], nullptr, 10));
    for (std::uint32_t seed = first; seed < first + programs; ++seed) {
        play(seed);
    }
    return 0;
}
