// Canonical forms of the library beside libxml2's own: of random documents and of documents from
// files, whole and element by element, in every form.
//
//   canonical_differential FIRST-SEED DOCUMENTS [FILE-OR-FOLDER...]
//
// Of a file with many elements some are compared besides the whole: libxml2 takes time in the
// square of the depth, and goes through the whole document for each. Prints the first pairs that
// differ, at the end how many were compared and how many bytes they have. The exit status is 0 when
// there were some and none differs.
#include "canonical_beside.hpp"
#include "tree/node_words.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

using canonical_beside::compared;
using canonical_beside::form;

// Elements of a file that are compared one by one, where it is not long.
constexpr std::size_t k_elements_of_file = 6;
constexpr std::size_t k_long_file = 100000;
constexpr int k_shown = 10;

struct totals {
    compared sums;
    std::size_t documents = 0;
    std::size_t not_read = 0; // no documents
    int differing = 0;
};

void show(totals &counted, const std::string &name, const xmlNode *top, const form &wanted,
          const std::string &ours, const std::string &theirs) {
    if (++counted.differing > k_shown) {
        return;
    }
    const std::size_t place = static_cast<std::size_t>(
        std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end()).first - ours.begin());
    const std::size_t begin = place < 40 ? 0 : place - 40;
    std::printf("%s: %s, %s, byte %zu\n  ours   ...%s\n  theirs ...%s\n", name.c_str(), wanted.name,
                std::string(pkg_dbe_xml::node_words(top).view()).c_str(), place,
                ours.substr(begin, 80).c_str(), theirs.substr(begin, 80).c_str());
}

void compare(totals &counted, const std::string &name, std::string_view text,
             std::size_t elements) {
    host::standalone::begin_session("UTF8");
    const sql::result parsed = sql::call(xmldom_parse_bytes, text);
    if (parsed.failed()) {
        ++counted.not_read;
    } else {
        ++counted.documents;
        const host::xml_scope scope;
        counted.sums += canonical_beside::compare_all(
            trees::document_of(parsed.handle()),
            [&](const xmlNode *top, const form &wanted, const std::string &ours,
                const std::string &theirs) { show(counted, name, top, wanted, ours, theirs); },
            elements);
    }
    host::standalone::end_session();
}

bool is_xml(const std::filesystem::path &path) {
    constexpr std::array<std::string_view, 11> k_extensions{".xml",     ".svg",    ".xsl", ".xslt",
                                                            ".rng",     ".xsd",    ".ui",  ".page",
                                                            ".docbook", ".policy", ".its"};
    const std::string extension = path.extension().string();
    return std::find(k_extensions.begin(), k_extensions.end(), extension) != k_extensions.end();
}

void compare_file(totals &counted, const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    compare(counted, path.string(), text, text.size() < k_long_file ? k_elements_of_file : 0);
}

void compare_below(totals &counted, const std::filesystem::path &top) {
    namespace files = std::filesystem;
    std::error_code error;
    if (!files::is_directory(top, error)) {
        compare_file(counted, top);
        return;
    }
    for (auto file = files::recursive_directory_iterator(
             top, files::directory_options::skip_permission_denied, error);
         !error && file != files::recursive_directory_iterator(); file.increment(error)) {
        std::error_code status;
        if (is_xml(file->path()) && file->is_regular_file(status)) {
            compare_file(counted, file->path());
        }
    }
}

} // namespace

int main(int count, char **arguments) {
    if (count < 3) {
        std::fprintf(stderr, "usage: %s FIRST-SEED DOCUMENTS [FILE-OR-FOLDER...]\n", arguments[0]);
        return 2;
    }
    xmlSetStructuredErrorFunc(nullptr, [](void *, auto) {});
    totals counted;
    const auto first = static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 10));
    const auto documents = static_cast<std::uint32_t>(std::strtoul(arguments[2], nullptr, 10));
    for (std::uint32_t seed = first; seed < first + documents; ++seed) {
        compare(counted, "seed " + std::to_string(seed),
                canonical_beside::random_document(seed).text(), SIZE_MAX);
    }
    for (int place = 3; place < count; ++place) {
        compare_below(counted, arguments[place]);
    }
    std::printf("%zu documents (%zu not read), %zu pairs, %zu refused by both, %zu refused "
                "by libxml2 for a reference elsewhere, %zu bytes, %d differing\n",
                counted.documents, counted.not_read, counted.sums.pairs, counted.sums.refused,
                counted.sums.refused_elsewhere, counted.sums.bytes, counted.differing);
    return counted.differing == 0 && counted.sums.pairs > 0 ? 0 : 1;
}
