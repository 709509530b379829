// What XML allows as a name and as data. What it does not allow is refused wherever a node is made
// or changed, so that every tree can be written and read again.
//
// All texts are UTF-8, and end in a zero byte where no size is given. Bytes that are no UTF-8 are
// no characters of XML.
#pragma once

#include "text/text_argument.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace pkg_dbe_xml {

enum class text_fault : std::uint8_t {
    none,
    empty_name,      // a name has no character
    name_start,      // no name begins with this character
    name_character,  // no name holds this character
    stray_colon,     // a colon at an end of a name, a second one, or one where none is allowed
    reserved_target, // a processing instruction is not called "xml"
    character,       // XML has no such character
    carriage_return, // would be read as a line feed here
    double_hyphen,   // in a comment
    hyphen_at_end,   // of a comment
    instruction_end, // "?>" in a processing instruction
    blank_at_start,  // of a processing instruction, which would not be read
    section_end,     // "]]>" in a CDATA section
    public_id,       // no public identifier holds this character
    both_quotes,     // a system identifier is written between one or the other
};

// What is wrong with a text, and at which of its characters, counted from 1.
struct text_check {
    text_fault fault = text_fault::none;
    std::size_t place = 0;
    [[nodiscard]] bool passed() const noexcept { return fault == text_fault::none; }
};

// The fault in words that go on after "the comment: " and the like.
[[nodiscard]] const char *words_for(text_fault fault) noexcept;

// A name without colons.
[[nodiscard]] text_check check_plain_name(const xmlChar *name) noexcept;

// A name of the form "name" or "prefix:name".
struct qualified_name {
    text_check check;
    const xmlChar *local = nullptr; // in the text that was checked
    std::size_t prefix_size = 0;    // bytes before the colon; 0: there is no prefix
};
[[nodiscard]] qualified_name check_qualified_name(const xmlChar *name) noexcept;

// Copies a name of `size` bytes that consists of ASCII characters and has no colon, with a zero
// byte behind it. False, and what was copied is of no use, for any other text.
[[nodiscard]] bool copy_plain_name(const xmlChar *name, std::size_t size, xmlChar *copy) noexcept;

// The name of a processing instruction.
[[nodiscard]] text_check check_target(const xmlChar *name) noexcept;
// Characters alone: texts, attribute values, namespace names.
[[nodiscard]] text_check check_characters(const xmlChar *text) noexcept;
// What a document type may be identified by.
[[nodiscard]] text_check check_public_id(const text_bytes &text) noexcept;
[[nodiscard]] text_check check_system_id(const text_bytes &text) noexcept;
// What a node of this type may hold; other types than texts, CDATA sections, comments and
// processing instructions are checked as texts.
[[nodiscard]] text_check check_data(xmlElementType type, const xmlChar *text) noexcept;
// The same for a text that no zero byte ends, nor holds.
[[nodiscard]] text_check check_data(xmlElementType type, const xmlChar *text,
                                    std::size_t size) noexcept;
// Whether printable ASCII characters are all legal in such a node.
[[nodiscard]] constexpr bool holds_plain_text(xmlElementType type) noexcept {
    return type != XML_COMMENT_NODE && type != XML_PI_NODE && type != XML_CDATA_SECTION_NODE;
}

// Bytes that the first `count` characters take; SIZE_MAX when there are fewer.
[[nodiscard]] std::size_t bytes_of_characters(const xmlChar *text, std::size_t count) noexcept;
[[nodiscard]] std::size_t count_characters(const xmlChar *text) noexcept;

} // namespace pkg_dbe_xml
