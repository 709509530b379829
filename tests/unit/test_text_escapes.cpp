// Escaping: every byte at every place of a block of 16 and behind it, by the rules of both
// generations of libxml2.
#include "support/sql.hpp"

#include "write/text_escapes.hpp"

#include <string>
#include <string_view>

namespace {

using pkg_dbe_xml::escape_rules;
using pkg_dbe_xml::text_output;

constexpr std::int64_t k_any_length = 0x7FFFFFFF;

const xmlChar *xml(const std::string &text) {
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

std::string text_of(text_output &output) {
    return {output.c_str(), static_cast<std::size_t>(output.size())};
}

// What one byte becomes in a text or an attribute.
std::string escaped(unsigned char byte, bool attribute, escape_rules rules) {
    switch (byte) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    case '\r':
        return "&#13;";
    case '\n':
        return attribute ? "&#10;" : "\n";
    case '\t':
        return attribute ? "&#9;" : "\t";
    case '"':
        return attribute ? "&quot;" : "\"";
    default:
        return byte < 0x20 && rules == escape_rules::late ? "&#xFFFD;"
                                                          : std::string(1, static_cast<char>(byte));
    }
}

class text_escapes : public sql::session_test {};

TEST_F(text_escapes, every_byte_at_every_place) {
    for (const bool attribute : {false, true}) {
        const auto write =
            attribute ? pkg_dbe_xml::write_escaped_attribute : pkg_dbe_xml::write_escaped_text;
        for (const escape_rules rules : {escape_rules::early, escape_rules::late}) {
            for (unsigned byte = 1; byte < 256; ++byte) {
                const std::string reference =
                    escaped(static_cast<unsigned char>(byte), attribute, rules);
                for (std::size_t place = 0; place < 35; ++place) {
                    const std::string before(place, 'x');
                    const std::string after(34 - place, 'y');
                    text_output output(k_any_length);
                    write(output, xml(before + static_cast<char>(byte) + after), rules);
                    ASSERT_EQ(text_of(output), before + reference + after) << byte << " " << place;
                }
            }
        }
    }
}

TEST_F(text_escapes, texts_that_become_eight_times_as_long) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 4095U, 4096U, 4097U, 100000U}) {
        std::string expected;
        for (std::size_t i = 0; i < size; ++i) {
            expected += "&#xFFFD;";
        }
        text_output text(k_any_length);
        pkg_dbe_xml::write_escaped_text(text, xml(std::string(size, '\x01')), escape_rules::late);
        EXPECT_EQ(text_of(text), expected) << size;
        text_output attribute(k_any_length);
        pkg_dbe_xml::write_escaped_attribute(attribute, xml(std::string(size, '\x1F')),
                                             escape_rules::late);
        EXPECT_EQ(text_of(attribute), expected) << size;
    }
}

TEST_F(text_escapes, references_stand_for_what_is_beyond_ascii) {
    struct {
        std::string_view text, written, replaced; // the last where it differs
    } const rows[] = {
        {"plain <&>\"\t", "plain &lt;&amp;&gt;&quot;&#9;", ""},
        {"\xC3\xA4<", "&#xE4;&lt;", ""},
        {"\xE2\x82\xAC!", "&#x20AC;!", ""},
        {"\xF0\x9D\x84\x9E!", "&#x1D11E;!", ""},
        {"\xF4\x8F\xBF\xBD", "&#x10FFFD;", ""},
        // Longer than they need be, these are characters that a text may hold.
        {"\xC0\x89\xC0\x8D!", "&#x9;&#xD;!", "&#xFFFD;&#xFFFD;&#xFFFD;&#xFFFD;!"},
        {"\xE0\x83\xA4!", "&#xE4;!", "&#xFFFD;&#xFFFD;&#xFFFD;!"},
        {"\xF0\x82\x82\xAC!", "&#x20AC;!", "&#xFFFD;&#xFFFD;&#xFFFD;&#xFFFD;!"},
        // And these are not: each byte stands for itself, or for what is no character.
        {"\xC0\x81!", "&#xC0;&#x81;!", "&#xFFFD;&#xFFFD;!"},
        {"\xED\xA0\x80!", "&#xED;&#xA0;&#x80;!", "&#xFFFD;&#xFFFD;&#xFFFD;!"},
        {"\xEF\xBF\xBE!", "&#xEF;&#xBF;&#xBE;!", "&#xFFFD;!"},
        {"\xF4\x90\x80\x80!", "&#xF4;&#x90;&#x80;&#x80;!", "&#xFFFD;&#xFFFD;&#xFFFD;&#xFFFD;!"},
        {"\xF8\x88\x80\x80!", "&#xF8;&#x88;&#x80;&#x80;!", "&#xFFFD;&#xFFFD;&#xFFFD;&#xFFFD;!"},
        // What follows is not looked at, or is.
        {"\xC3x!", "&#xF8;!", "&#xFFFD;x!"},
        {"\xE2\x82x!", "&#x20B8;!", "&#xFFFD;&#xFFFD;x!"},
        // The highest bits of the first byte are not.
        {"\xF9\x80\x80\x80!", "&#xF9;&#x80;&#x80;&#x80;!", "&#x40000;!"},
        // But for one at the very end.
        {"\xE2\x82", "&#xE2;\x82", "&#xFFFD;\x82"},
        {"\xC3", "\xC3", ""},
    };
    using pkg_dbe_xml::invalid_bytes;
    for (const auto &row : rows) {
        text_output output(k_any_length);
        const std::string text(row.text);
        pkg_dbe_xml::write_ascii_attribute(output, xml(text), escape_rules::early,
                                           invalid_bytes::referred_to);
        EXPECT_EQ(text_of(output), row.written);
        text_output later(k_any_length);
        pkg_dbe_xml::write_ascii_attribute(later, xml(text), escape_rules::early,
                                           invalid_bytes::replaced);
        EXPECT_EQ(text_of(later), row.replaced.empty() ? row.written : row.replaced);
    }
}

TEST_F(text_escapes, references_by_the_late_rules) {
    constexpr std::string_view k_rows[][2] = {
        {"plain <&>\"\t\x01", "plain &lt;&amp;&gt;&quot;&#9;&#xFFFD;"},
        {"\xC3\xA4<\x01", "&#xE4;&lt;&#xFFFD;"},
        {"\xE2\x82\xAC", "&#x20AC;"},
        {"\xE2\x82", "&#xFFFD;&#xFFFD;"},
        {"\xC3", "&#xFFFD;"},
    };
    for (const auto &row : k_rows) {
        text_output output(k_any_length);
        pkg_dbe_xml::write_ascii_attribute(output, xml(std::string(row[0])), escape_rules::late,
                                           pkg_dbe_xml::invalid_bytes::replaced);
        EXPECT_EQ(text_of(output), row[1]);
    }
}

} // namespace
