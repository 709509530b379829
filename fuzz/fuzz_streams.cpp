// Streams from any bytes: the record path, how the text is cut, and the text. No cut changes what
// comes out of a document, and every record can be read again.
#include "standalone_session.hpp"
#include "standalone_transactions.hpp"
#include "streams.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include "host/limits.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

constexpr const char *k_paths[] = {"//r", "/f/r", "//*", "/*/*", "/f//r", "//r/a", "/*", "//p:r"};
constexpr std::size_t k_longest_text = 65536;

void require(bool held, const char *what, const std::string &one, const std::string &other) {
    if (!held) {
        std::fprintf(stderr, "%s\n%s\n%s\n", what, one.c_str(), other.c_str());
        std::abort();
    }
}

// The text in pieces whose lengths follow from `seed`.
std::vector<std::string> cut(std::string_view text, unsigned seed) {
    std::vector<std::string> pieces;
    while (!text.empty()) {
        seed = seed * 1103515245U + 12345U;
        const std::size_t size = 1 + (seed >> 16U) % (seed % 7 == 0 ? 4000U : 20U);
        pieces.emplace_back(text.substr(0, size));
        text.remove_prefix(pieces.back().size());
    }
    return pieces;
}

// Of a text that is no document the parser may find it out sooner or later.
bool is_same(const streams::outcome &one, const streams::outcome &other) {
    if (one.end.empty() || other.end.empty()) {
        return one == other;
    }
    const std::size_t common = std::min(one.records.size(), other.records.size());
    return std::equal(one.records.begin(),
                      one.records.begin() + static_cast<std::ptrdiff_t>(common),
                      other.records.begin());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size < 2 || size > k_longest_text) {
        return 0;
    }
    host::standalone::begin_session();
    host::parse_limits.budget_base = 4096;
    host::parse_limits.work = 50;
    const char *const path = k_paths[data[0] % std::size(k_paths)];
    const streams::options wanted{.namespaces = {"p", "u"},
                                  .inherit = (data[0] & 64U) != 0,
                                  .skip = (data[0] & 128U) ? 1 : 0};
    const bool as_bytes = (data[0] & 32U) != 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 2, size - 2);
    const streams::outcome whole =
        streams::read(streams::open(path, wanted), {std::string(text)}, as_bytes);
    const streams::outcome cuts =
        streams::read(streams::open(path, wanted), cut(text, data[1]), as_bytes);
    require(is_same(whole, cuts), "a cut changed what came out", streams::shown(whole),
            streams::shown(cuts));
    for (const std::string &record : whole.records) {
        if (record.starts_with('!')) {
            continue; // XML has no way to write what the parser has taken
        }
        const sql::result read_again = sql::call(xmldom_parse_text, record);
        require(!read_again.failed(), "a record cannot be read again", record, "");
        sql::call(xml_dom_free_document, read_again.handle());
    }
    const ::testing::AssertionResult sound = sql::check_invariants();
    require(static_cast<bool>(sound), "invariants", sound.message(), "");
    const host::standalone::session_remains remains = host::standalone::end_session();
    require(remains.nothing(), "something was left", std::to_string(remains.libxml2_bytes),
            std::to_string(remains.host_blocks));
    return 0;
}
