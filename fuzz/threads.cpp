// Sessions in many threads at once, each playing random programs of calls; for the thread
// sanitizer, and of use without it.
//
//   threads [THREADS [PROGRAMS [FIRST-SEED]]]     16 threads with 20 programs each
//
// The invariants of each session's registry hold on the way, and nothing is left when a session has
// ended. Prints what is wrong; the exit status is 0 when nothing is.
#include "support_program.hpp"

#include <libxml/parser.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <latch>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t k_program_size = 1500;
constexpr std::size_t k_check_every = 64;

struct player {
    std::uint32_t first_seed = 0;
    std::uint32_t programs = 0;
    std::string wrong; // "" when nothing is
};

std::vector<std::uint8_t> random_program(std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes(k_program_size);
    for (std::uint8_t &byte : bytes) {
        byte = static_cast<std::uint8_t>(numbers());
    }
    return bytes;
}

void play(player &playing, std::latch &all_ready) {
    // So that the first sessions, which set up what all share, begin together.
    all_ready.arrive_and_wait();
    for (std::uint32_t program = 0; program < playing.programs && playing.wrong.empty();
         ++program) {
        const std::uint32_t seed = playing.first_seed + program;
        playing.wrong = fuzz::run_program(random_program(seed), true, k_check_every).wrong;
        if (!playing.wrong.empty()) {
            playing.wrong = "seed " + std::to_string(seed) + ": " + playing.wrong;
        }
    }
}

int run(std::size_t thread_count, std::uint32_t programs, std::uint32_t first_seed) {
    std::vector<player> players(thread_count);
    std::latch all_ready(static_cast<std::ptrdiff_t>(thread_count));
    std::vector<std::thread> threads;
    for (std::size_t place = 0; place < thread_count; ++place) {
        players[place].first_seed = first_seed + static_cast<std::uint32_t>(place) * programs;
        players[place].programs = programs;
        threads.emplace_back(play, std::ref(players[place]), std::ref(all_ready));
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::size_t failed = 0;
    for (const player &played : players) {
        if (!played.wrong.empty()) {
            std::printf("%s\n", played.wrong.c_str());
            ++failed;
        }
    }
    std::printf("%zu threads with %u programs each, %zu failed\n", thread_count, programs, failed);
    return failed == 0 ? 0 : 1;
}

} // namespace

int main(int count, char **arguments) {
    unsigned long numbers[3]{16, 20, 1};
    for (int place = 1; place < std::min(count, 4); ++place) {
        numbers[place - 1] = std::strtoul(arguments[place], nullptr, 10);
    }
    if (count > 4 || numbers[0] == 0 || numbers[1] == 0) {
        std::fputs("usage: threads [THREADS [PROGRAMS [FIRST-SEED]]]\n", stderr);
        return 2;
    }
    // libxml2 wants its global state made by one thread.
    xmlInitParser();
    return run(numbers[0], static_cast<std::uint32_t>(numbers[1]),
               static_cast<std::uint32_t>(numbers[2]));
}
