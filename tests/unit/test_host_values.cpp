// Text, RAW and large values of the standalone host.
#include "host/lob.hpp"
#include "host/text.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <cstring>

namespace {

namespace standalone = host::standalone;

class host_values : public sql::session_test {
  protected:
    // What packed detoasting gives, as its payload.
    std::string packed(host::datum value) {
        return std::string(host::text_view(host::pg_detoast_datum_packed(value, room)));
    }
    host::packed_room room{};
};

const host::varlena *as_value(host::datum value) {
    return reinterpret_cast<const host::varlena *>(value);
}

TEST_F(host_values, both_header_forms_are_read) {
    for (const std::size_t size : {0U, 1U, 13U, 125U, 126U}) {
        const std::string bytes(size, 'x');
        const host::datum long_form = standalone::make_text(bytes);
        EXPECT_FALSE(host::has_short_header(as_value(long_form)));
        EXPECT_EQ(host::total_size(as_value(long_form)), size + 4);
        EXPECT_EQ(host::text_view(as_value(long_form)), bytes);
        const host::datum short_form = standalone::make_short_text(bytes);
        EXPECT_TRUE(host::has_short_header(as_value(short_form)));
        EXPECT_EQ(host::total_size(as_value(short_form)), size + 1);
        EXPECT_EQ(host::text_view(as_value(short_form)), bytes);
    }
}

TEST_F(host_values, packed_values_are_short_whenever_they_can_be) {
    for (std::size_t size = 0; size <= 300; ++size) {
        const std::string bytes(size, 'y');
        const host::datum value = standalone::make_text(bytes);
        const host::varlena *read = host::pg_detoast_datum_packed(value, room);
        EXPECT_EQ(host::has_short_header(read), size <= 126) << size;
        EXPECT_EQ(host::text_view(read), bytes);
        EXPECT_EQ(host::total_size(read), size <= 126 ? size + 1 : size + 4);
    }
}

TEST_F(host_values, a_handle_arrives_with_fourteen_bytes_in_either_form) {
    const std::string key(13, '\1');
    for (const host::datum value : {standalone::make_text(key), standalone::make_short_text(key),
                                    standalone::make_stored_text(key)}) {
        EXPECT_EQ(host::total_size(host::pg_detoast_datum_packed(value, room)), 14U);
    }
    // Ten bytes behind a long header are fourteen as well, and arrive as eleven.
    EXPECT_EQ(host::total_size(as_value(standalone::make_text("0123456789"))), 14U);
    EXPECT_EQ(
        host::total_size(host::pg_detoast_datum_packed(standalone::make_text("0123456789"), room)),
        11U);
}

TEST_F(host_values, packing_takes_no_memory) {
    const host::datum value = standalone::make_text("handle");
    const host::datum long_value = standalone::make_text(std::string(127, 'z'));
    standalone::fail_call(standalone::service::allocation, 1, standalone::k_for_ever);
    EXPECT_EQ(packed(value), "handle");
    EXPECT_EQ(host::pg_detoast_datum_packed(long_value, room), as_value(long_value));
    EXPECT_EQ(standalone::calls_of(standalone::service::allocation), 0);
    standalone::clear_faults();
}

TEST_F(host_values, stored_values_are_fetched) {
    const std::string bytes(5000, 's');
    const host::datum stored = standalone::make_stored_text(bytes);
    EXPECT_FALSE(host::is_large_value(stored));
    EXPECT_EQ(host::text_view(host::pg_detoast_datum(stored)), bytes);
    EXPECT_EQ(packed(stored), bytes);
    char *copy = host::text_to_cstring(stored);
    EXPECT_EQ(std::string_view(copy), bytes);
    // The caller may free what was fetched without hurting what is stored.
    const host::varlena *fetched = host::pg_detoast_datum_packed(stored, room);
    host::mmgr_free_with_fl(const_cast<host::varlena *>(fetched), __FILE__, __LINE__);
    host::mmgr_free_with_fl(copy, __FILE__, __LINE__);
    EXPECT_EQ(packed(stored), bytes);
}

TEST_F(host_values, text_is_made_and_joined) {
    const host::varlena *left = host::cstring_to_text("left ");
    const host::varlena *right = host::cstring_to_text_with_length("right!", 5);
    EXPECT_FALSE(host::has_short_header(left));
    EXPECT_EQ(host::text_view(host::textcat(left, right)), "left right");
    const host::varlena *empty = host::cstring_to_text("");
    EXPECT_EQ(host::total_size(host::textcat(empty, empty)), 4U);
    EXPECT_EQ(
        host::text_view(host::textcat(as_value(standalone::make_short_text("short ")), right)),
        "short right");
}

TEST_F(host_values, text_of_one_gibibyte_is_refused) {
    constexpr std::size_t limit = std::size_t{1} << 30U;
    // The bytes are never looked at, so they need not be there.
    EXPECT_THROW(static_cast<void>(host::cstring_to_text_with_length("", limit - 4)), host::raised);
}

TEST_F(host_values, large_values_are_recognised) {
    const host::datum large = standalone::make_large_text("large");
    EXPECT_TRUE(host::is_large_value(large));
    EXPECT_FALSE(host::is_large_value(standalone::make_text("text")));
    EXPECT_FALSE(host::is_large_value(standalone::make_short_text("")));
    EXPECT_FALSE(host::is_large_value(standalone::make_stored_text("text")));
    EXPECT_EQ(host::tupleam_get_toast_size_raw(large), 9);
    EXPECT_EQ(packed(large), "large");
}

std::string slice(host::datum value, std::int64_t offset, std::int64_t length) {
    host::varlena *piece = host::tupleam_detoast_slice_value(value, offset, length);
    std::string bytes(host::text_view(piece));
    host::mmgr_free_with_fl(piece, __FILE__, __LINE__);
    return bytes;
}

TEST_F(host_values, slices_end_where_the_value_ends) {
    const host::datum large = standalone::make_large_text("0123456789");
    EXPECT_EQ(slice(large, 0, 10), "0123456789");
    EXPECT_EQ(slice(large, 0, 3), "012");
    EXPECT_EQ(slice(large, 7, 100), "789");
    EXPECT_EQ(slice(large, 9, 1), "9");
    EXPECT_EQ(slice(large, 10, 1), "");
    EXPECT_EQ(slice(large, 500, 1), "");
    EXPECT_EQ(slice(large, 4, 0), "");
}

TEST_F(host_values, filled_values_have_the_bytes_that_are_asked_for) {
    const host::datum filled = standalone::make_filled_large_text(1000, "begin", '.', "end");
    const std::string whole = "begin" + std::string(992, '.') + "end";
    EXPECT_EQ(slice(filled, 0, 1000), whole);
    for (std::int64_t offset = 0; offset < 1000; ++offset) {
        EXPECT_EQ(slice(filled, offset, 7), whole.substr(static_cast<std::size_t>(offset), 7));
    }
    const host::datum sparse = standalone::make_sparse_large_text(1000, "begin", "end");
    EXPECT_EQ(slice(sparse, 0, 1000), "begin" + std::string(992, '\0') + "end");
}

TEST_F(host_values, pieces_of_the_true_size_are_read) {
    EXPECT_EQ(host::piece_size(), 0x3FFFFE00);
    // One byte more than a piece holds.
    const std::int64_t size = host::k_largest_piece + 1;
    const host::datum sparse = standalone::make_sparse_large_text(size, "<", ">");
    EXPECT_EQ(host::tupleam_get_toast_size_raw(sparse), size + 4);
    host::varlena *first = host::tupleam_detoast_slice_value(sparse, 0, host::piece_size());
    EXPECT_EQ(host::payload(first).size(), static_cast<std::size_t>(host::k_largest_piece));
    EXPECT_EQ(host::text_view(first).front(), '<');
    EXPECT_EQ(host::text_view(first).back(), '\0');
    host::mmgr_free_with_fl(first, __FILE__, __LINE__);
    EXPECT_EQ(slice(sparse, host::piece_size(), host::piece_size()), ">");
}

TEST_F(host_values, values_of_many_gibibytes_cost_what_is_read) {
    const std::int64_t size = std::int64_t{5} << 30U;
    const host::datum sparse = standalone::make_sparse_large_text(size, "first", "last");
    EXPECT_EQ(host::tupleam_get_toast_size_raw(sparse), size + 4);
    EXPECT_EQ(slice(sparse, size - 4, 100), "last");
    const host::datum filled = standalone::make_filled_large_text(size, "a", 'b', "c");
    EXPECT_EQ(slice(filled, size / 2, 3), "bbb");
    EXPECT_EQ(slice(filled, size - 2, 3), "bc");
    EXPECT_THROW(static_cast<void>(host::pg_detoast_datum(filled)), host::raised);
}

TEST_F(host_values, the_piece_size_can_be_lowered) {
    standalone::set_piece_size(16);
    EXPECT_EQ(host::piece_size(), 16);
    standalone::set_piece_size(0);
    EXPECT_EQ(host::piece_size(), host::k_largest_piece);
    standalone::set_piece_size(7);
    restart_session();
    EXPECT_EQ(host::piece_size(), host::k_largest_piece);
}

TEST_F(host_values, slices_can_be_made_to_fail) {
    const host::datum large = standalone::make_large_text("0123456789");
    standalone::fail_call(standalone::service::slice, 2);
    EXPECT_EQ(slice(large, 0, 5), "01234");
    EXPECT_THROW(static_cast<void>(host::tupleam_detoast_slice_value(large, 5, 5)), host::raised);
    EXPECT_EQ(slice(large, 5, 5), "56789");
    standalone::fail_call(standalone::service::missing_slice, 1);
    EXPECT_EQ(host::tupleam_detoast_slice_value(large, 5, 5), nullptr);
    EXPECT_EQ(slice(large, 5, 5), "56789");
}

TEST_F(host_values, detoasting_can_be_made_to_fail) {
    const host::datum value = standalone::make_text("value");
    standalone::fail_call(standalone::service::detoast, 1, 3);
    EXPECT_THROW(packed(value), host::raised);
    EXPECT_THROW(static_cast<void>(host::pg_detoast_datum(value)), host::raised);
    EXPECT_THROW(static_cast<void>(host::text_to_cstring(value)), host::raised);
    EXPECT_EQ(packed(value), "value");
}

} // namespace
