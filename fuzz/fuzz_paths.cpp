// Fuzzer of the file argument: whatever it is, nothing is written outside the directory object, and
// nothing but a regular file whose name ends in .xml is.
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

[[noreturn]] void fail(const std::string &reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    std::abort();
}

// A folder of this process with the directory object's folder below it. It goes with the process;
// one that is killed, or fails, leaves it.
const std::filesystem::path &root() {
    static const std::filesystem::path *const folder = [] {
        auto *const path = new std::filesystem::path(std::filesystem::temp_directory_path() /
                                                     ("fuzz_paths." + std::to_string(getpid())));
        std::filesystem::create_directories(*path / "inside");
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(root(), ignored);
        });
        return path;
    }();
    return *folder;
}

// Everything below the root is in its place; what was written is removed.
void check_files() {
    for (const auto &entry : std::filesystem::directory_iterator(root())) {
        if (entry.path().filename() != "inside") {
            fail("written outside the directory: " + entry.path().string());
        }
    }
    for (const auto &entry : std::filesystem::directory_iterator(root() / "inside")) {
        if (!entry.is_regular_file() || !entry.path().string().ends_with(".xml")) {
            fail("not a file that may be written: " + entry.path().string());
        }
        std::filesystem::remove(entry.path());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string argument;
    for (std::size_t index = 0; index < size && index < 600; ++index) {
        if (data[index] != 0) {
            argument += static_cast<char>(data[index]);
        }
    }
    host::standalone::begin_session("UTF8");
    host::standalone::create_directory_object("d", (root() / "inside").string());
    host::standalone::files().protected_names = {"audit", ".key.cipher"};
    const sql::handle document = sql::call(xml_dom_new_document_clob, "<a>text</a>").handle();
    sql::call(xml_dom_write_to_file_doc, document, argument);
    sql::call(xml_dom_write_to_file_node, document, "d/" + argument);
    sql::call(xml_dom_write_to_file_doc, document, "d/" + argument + ".xml", argument);
    if (!host::standalone::end_session().nothing()) {
        fail("the session left something");
    }
    check_files();
    return 0;
}
