// A parse whose text comes in pieces, under the guard of every other parse.
//
// libxml2's push parser looks back over what it has of an unfinished tag or comment each time it is
// given more, and compares the attributes of a tag once it has all of it. So pieces are short while
// nothing is unfinished, grow with what is, and end where it does; and the attributes of a long tag
// are counted before libxml2 sees them.
//
// The bounds of a document hold for each unit, of which whoever builds the tree says where they
// begin. Work that a unit has left undone is owed by those that follow.
#pragma once

#include "libxml/xml_parse_run.hpp"

#include <cstddef>
#include <cstdint>

namespace host {

// What libxml2 waits for the end of, once that is long.
struct open_token {
    enum class kind : std::uint8_t { none, comment, section, instruction, tag };
    kind is = kind::none;
    char quote = '\0';      // within a value of a tag
    char last[2] = {0, 0};  // bytes of it seen last
    std::int64_t start = 0; // its place in the text
    std::int64_t attributes = 0;
    std::size_t seen = 0; // bytes looked at that libxml2 has not been given
};

// Does not move: the parse refers to its own members.
struct push_parse {
    parse_run run{};
    parse_diagnostics notes{};
    std::int64_t unit_bytes = 0; // memory that the unit held when the last piece ended
    std::size_t unit_text = 0;   // bytes of text since the unit began, by whole pieces
    std::size_t credit = 0;      // bytes of text that have not paid for work yet
    std::size_t piece = 0;       // bytes of the piece that is being parsed
    open_token token;
    bool failed = false; // nothing more comes of it; `notes` says why
};

// Makes the context, in memory of libxml2's. Throws when memory runs out, and has then made
// nothing.
void begin_push(push_parse &parse, void *stream);
// Gives libxml2 some of `size` bytes of UTF-8; returns how many, which is none when it is better to
// wait for more of them. Throws when memory ran out or the statement was asked to stop; then, and
// when the text is not well-formed or reaches a limit, the parse has failed.
[[nodiscard]] std::size_t push_some(push_parse &parse, const char *bytes, std::size_t size);
// For callbacks: what comes now is a unit of its own.
void begin_unit(push_parse &parse) noexcept;
// Bytes that libxml2 holds and has not parsed.
[[nodiscard]] std::size_t held_back(const push_parse &parse) noexcept;
// Whether they are blanks.
[[nodiscard]] bool holds_only_blanks(const push_parse &parse) noexcept;
// Frees context and tree; large trees as far as that is quickly done, the rest later.
void end_push(push_parse &parse) noexcept;

} // namespace host
