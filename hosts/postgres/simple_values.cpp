// See simple_values.hpp.
#include "simple_values.hpp"

#include "server.hpp"

extern "C" {
#include <catalog/pg_type.h>
#include <utils/builtins.h>
#include <utils/fmgroids.h>
#include <utils/numeric.h>
}

namespace host {

static_assert(sizeof(Datum) == sizeof(std::uintptr_t) && sizeof(Oid) == sizeof(unsigned));

namespace {

// So many always fit into 64 bits, and do so when a numeric is scaled by up to a thousand.
constexpr std::size_t k_most_digits = 15;

// A number as it is written: "-12.50" is -1250 with two decimals.
struct written_number {
    std::int64_t digits;
    int decimals;
    bool has_point;
};

// False for anything but digits, with a sign before and a point among them.
bool read_number(const char *text, std::size_t size, written_number &number) noexcept {
    const bool negative = size != 0 && *text == '-';
    const char *const end = text + size;
    text += negative ? 1 : 0;
    if (text == end || static_cast<std::size_t>(end - text) > k_most_digits) {
        return false;
    }
    const char *const first = text;
    const char *point = end;
    std::int64_t digits = 0;
    for (; text != end; ++text) {
        const auto digit = static_cast<unsigned>(*text) - unsigned{'0'};
        if (digit < 10) {
            digits = 10 * digits + digit;
        } else if (*text == '.' && point == end && text != first && text + 1 != end) {
            point = text;
        } else {
            return false;
        }
    }
    number.digits = negative ? -digits : digits;
    number.has_point = point != end;
    number.decimals = number.has_point ? static_cast<int>(end - point) - 1 : 0;
    return true;
}

Datum text_value(char *text, std::size_t size, bool in_place) {
    // A short one is a length in one byte, and the text behind it.
    if (in_place && size + VARHDRSZ_SHORT <= VARATT_SHORT_MAX) {
        SET_VARSIZE_SHORT(text - VARHDRSZ_SHORT, size + VARHDRSZ_SHORT);
        return PointerGetDatum(text - VARHDRSZ_SHORT);
    }
    return PointerGetDatum(cstring_to_text_with_len(text, static_cast<int>(size)));
}

} // namespace

simple_type simple_type_of(unsigned type, std::int32_t modifier, unsigned input) noexcept {
    if (type == TEXTOID || (type == VARCHAROID && modifier < 0)) {
        return simple_type::text;
    }
    if (type == INT4OID && input == F_INT4IN) {
        return simple_type::int4;
    }
    if (type == INT8OID && input == F_INT8IN) {
        return simple_type::int8;
    }
    if (type == NUMERICOID && modifier < 0 && input == F_NUMERIC_IN) {
        return simple_type::numeric;
    }
    return simple_type::none;
}

bool make_simple_value(simple_type type, char *text, std::size_t size, bool in_place,
                       std::uintptr_t &value) {
    if (type == simple_type::text) {
        value = text_value(text, size, in_place);
        return true;
    }
    written_number number{};
    if (type == simple_type::none || !read_number(text, size, number)) {
        return false;
    }
    if (type == simple_type::numeric) {
        value = NumericGetDatum(int64_div_fast_to_numeric(number.digits, number.decimals));
        return true;
    }
    if (number.has_point) {
        return false;
    }
    if (type == simple_type::int8) {
        value = Int64GetDatum(number.digits);
        return true;
    }
    if (number.digits < INT32_MIN || number.digits > INT32_MAX) {
        return false;
    }
    value = Int32GetDatum(static_cast<std::int32_t>(number.digits));
    return true;
}

} // namespace host
