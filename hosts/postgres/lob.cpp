// Large values. The server has none: every value of it is below 1 GiB, and no pointer to a value
// kept elsewhere has a second byte of 128 or more. Values kept out of line can be read in slices
// all the same.
#include "host/lob.hpp"

#include "guard.hpp"

#include "server.hpp"

namespace host {

std::int64_t tupleam_get_toast_size_raw(datum value) {
    Size size = 0;
    guard([&] { size = toast_raw_datum_size(value); });
    return static_cast<std::int64_t>(size);
}

varlena *tupleam_detoast_slice_value(datum value, std::int64_t offset, std::int64_t length) {
    auto *const stored = reinterpret_cast<struct ::varlena *>(value);
    const auto start = static_cast<int32>(offset < PG_INT32_MAX ? offset : PG_INT32_MAX);
    const auto count = static_cast<int32>(length < k_largest_piece ? length : k_largest_piece);
    struct ::varlena *slice = nullptr;
    guard([&] { slice = detoast_attr_slice(stored, start, count); });
    return reinterpret_cast<varlena *>(slice);
}

std::int64_t piece_size() noexcept { return k_largest_piece; }

} // namespace host
