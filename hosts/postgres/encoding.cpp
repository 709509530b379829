// Character sets of the server. The library's number of UTF-8 and the server's differ: the two
// encodings that stand at these places change places.
#include "host/encoding.hpp"

#include "host/error.hpp"

#include "guard.hpp"
#include "invocation.hpp"

#include <algorithm>
#include <climits>

#include "server.hpp"

namespace host {

namespace {

constexpr int renumbered(int encoding) noexcept {
    if (encoding == PG_UTF8) {
        return k_utf8;
    }
    return encoding == k_utf8 ? static_cast<int>(PG_UTF8) : encoding;
}
static_assert(renumbered(k_utf8) == PG_UTF8 && renumbered(PG_UTF8) == k_utf8);

} // namespace

int mb_get_database_encoding() noexcept { return renumbered(GetDatabaseEncoding()); }

char *mb_do_encoding_conversion(char *text, std::size_t length, int from, int to,
                                bool /*no_error*/) {
    if (length > INT_MAX) {
        begin_host_report(host_failure::conversion_size, length, "");
        finish_report();
    }
    auto *const bytes = reinterpret_cast<unsigned char *>(text);
    unsigned char *result = nullptr;
    guard([&] {
        result = pg_do_encoding_conversion(bytes, static_cast<int>(length), renumbered(from),
                                           renumbered(to));
    });
    return reinterpret_cast<char *>(result);
}

std::size_t mb_check_text(const char *text, std::size_t length, int encoding, bool last) {
    const int own = encoding == PG_SQL_ASCII ? static_cast<int>(PG_UTF8) : renumbered(encoding);
    const auto size = static_cast<int>(std::min<std::size_t>(length, INT_MAX));
    // Looking at bytes allocates nothing and does not fail.
    const int valid = pg_encoding_verifymbstr(own, text, size);
    const int rest = size - valid;
    const bool cut = rest != 0 && !last && text[valid] != '\0' &&
                     rest < pg_encoding_max_length(own) &&
                     pg_encoding_mblen(own, text + valid) > rest;
    if (rest != 0 && !cut) {
        guard([&] { report_invalid_encoding(own, text + valid, rest); });
    }
    return static_cast<std::size_t>(valid);
}

} // namespace host
