// Reading arrays of values as hosts lay them out.

#include "text/value_array.hpp"

namespace pkg_dbe_xml {

namespace {

// Words behind the length of the whole value.
enum word : std::size_t { dimensions, first_member, member_type, lengths };

constexpr std::size_t k_word = sizeof(std::uint32_t);

[[nodiscard]] std::uint32_t read_word(const std::byte *bytes, std::size_t index) noexcept {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes + index * k_word, sizeof word);
    return word;
}

// Offsets in an array count its own header, however long that is here.
[[nodiscard]] std::size_t aligned(std::size_t place) noexcept {
    return (place + k_word - 1) / k_word * k_word;
}

} // namespace

value_array::value_array(host::datum value) {
    const auto payload = host::payload(host::pg_detoast_datum(value));
    const std::byte *const bytes = payload.data();
    const std::uint32_t count_of_dimensions =
        payload.size() < lengths * k_word ? 0 : read_word(bytes, dimensions);
    if (count_of_dimensions == 0) {
        return;
    }
    std::size_t count = 1;
    for (std::uint32_t index = 0; index < count_of_dimensions; ++index) {
        count *= read_word(bytes, lengths + index);
    }
    const std::size_t bitmap = (lengths + 2 * count_of_dimensions) * k_word;
    const bool has_nulls = read_word(bytes, first_member) != 0;
    std::size_t place = has_nulls ? read_word(bytes, first_member) - host::k_long_header : bitmap;
    members_.reserve(count);
    for (std::size_t index = 0; index < count && place <= payload.size(); ++index) {
        if (has_nulls &&
            (std::to_integer<unsigned>(bytes[bitmap + index / 8]) >> (index % 8) & 1U) == 0) {
            members_.push_back(nullptr);
            continue;
        }
        if (bytes[place] == std::byte{0}) {
            place = aligned(place);
        }
        const auto *const member = reinterpret_cast<const host::varlena *>(bytes + place);
        members_.push_back(bytes + place);
        place += host::total_size(member);
        // Values with a long header begin at a multiple of their alignment.
        if (place < payload.size() && (std::to_integer<unsigned>(bytes[place]) & 1U) == 0) {
            place = aligned(place);
        }
    }
}

} // namespace pkg_dbe_xml
