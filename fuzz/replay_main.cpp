// A plain main for the fuzzers: runs the files, and those in the folders, that it is given. With
// --random COUNT SEED it runs COUNT inputs of its own making.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::size_t replay(const std::filesystem::path &path) {
    if (std::filesystem::is_directory(path)) {
        std::size_t count = 0;
        for (const auto &entry : std::filesystem::directory_iterator(path)) {
            count += replay(entry.path());
        }
        return count;
    }
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
    return 1;
}

void run_random(std::size_t count, std::uint32_t seed) {
    std::mt19937 numbers(seed);
    std::vector<std::uint8_t> bytes;
    for (std::size_t run = 0; run < count; ++run) {
        bytes.resize(numbers() % 3000);
        for (std::uint8_t &byte : bytes) {
            byte = static_cast<std::uint8_t>(numbers());
        }
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
}

} // namespace

int main(int count, char **arguments) {
    const std::vector<std::string> paths(arguments + 1, arguments + count);
    if (paths.size() == 3 && paths[0] == "--random") {
        run_random(std::strtoul(paths[1].c_str(), nullptr, 10),
                   static_cast<std::uint32_t>(std::strtoul(paths[2].c_str(), nullptr, 10)));
        std::printf("%s inputs run\n", paths[1].c_str());
        return 0;
    }
    std::size_t inputs = 0;
    for (const std::string &path : paths) {
        inputs += replay(path);
    }
    std::printf("%zu inputs replayed\n", inputs);
    return inputs == 0 ? 1 : 0;
}
