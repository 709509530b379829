// Character sets of the server. The library's number of UTF-8 and the server's differ: the two
// encodings that stand at these places change places.
#include "host/encoding.hpp"

#include "host/error.hpp"

#include "guard.hpp"
#include "invocation.hpp"

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

} // namespace host
