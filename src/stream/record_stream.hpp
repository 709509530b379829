// Records out of a text of any length, one document each.
//
// The text is fed in pieces; of it only what has not been parsed yet is kept, and of the tree only
// the record that is being read. A record is cut loose when its end tag comes: it declares the
// namespaces that it uses, its entities are replaced, and nothing of the stream is referred to by
// it but the dictionary of names, which is shared and counted.
//
// A failure in the text is kept until the records before it have been given out.
#pragma once

#include "libxml/xml_push.hpp"
#include "parse/byte_decoder.hpp"
#include "stream/record_path.hpp"
#include "xml_owner.hpp"

#include <libxml/parser.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace pkg_dbe_xml {

// What a record may take over from the elements around it.
enum class inherited : std::size_t { lang, base, space, count };
inline constexpr auto k_inherited_count = static_cast<std::size_t>(inherited::count);

// An open element around records.
struct outer_level {
    path_states states;
    bool has_anchor; // an element stands for it that declares its namespaces
    std::array<const xmlChar *, k_inherited_count> values; // in the dictionary
};

struct stream_request {
    std::string_view path;
    std::span<const path_binding> namespaces;
    bool inherits = false;    // xml:lang, xml:base and xml:space
    std::int64_t to_skip = 0; // records at the beginning of which nothing is wanted
};

enum class feed_kind : std::uint8_t { none, text, bytes };

// Does not move.
struct record_stream {
    host::push_parse parse;
    record_path path;
    bool inherits = false;
    std::int64_t to_skip = 0;

    // What the callbacks know.
    outer_level *levels = nullptr; // of libxml2's memory; the document first
    int level_capacity = 0;
    int record_depth = 0; // of the record that is being read; 0: none is
    bool skips = false;   // and nothing is kept of it
    xmlNodePtr top = nullptr;
    bool root_ended = false;
    getEntitySAXFunc admit_entity = nullptr;
    charactersSAXFunc add_characters = nullptr;
    xmlDocPtr first_ready = nullptr; // records that wait, chained by `next`
    xmlDocPtr last_ready = nullptr;
    std::int64_t records = 0; // begun, skipped ones included
    std::int64_t ended = 0;   // of them

    // What was fed and not parsed.
    feed_kind kind = feed_kind::none;
    byte_decoder decoder;
    bool undecodable = false; // behind the unread text
    piece_of_text unread;
    std::size_t taken = 0;  // of its beginning
    std::int64_t fed = 0;   // bytes in all
    std::int64_t given = 0; // records given out
    bool is_reading = false;
};

void end_stream(record_stream *stream) noexcept;
struct stream_deleter {
    void operator()(record_stream *stream) const noexcept { end_stream(stream); }
};
using record_stream_ptr = std::unique_ptr<record_stream, stream_deleter>;

// A stream in memory of the parsers' context. Reports record_path_syntax and record_path_prefix;
// throws when memory runs out.
[[nodiscard]] record_stream_ptr begin_stream(const stream_request &request);
// Keeps a piece of the text: in UTF-8, or as bytes that say themselves how they are encoded.
// Reports stream_kinds_mixed, unsupported_character_set and out_of_memory, and session_memory_full
// when too much waits to be parsed.
void feed_text(record_stream &stream, std::string_view text);
void feed_bytes(record_stream &stream, std::string_view bytes);
// The next record, still the stream's; null when the text that was fed holds no further one.
// Reports stream_broken with the place and libxml2's words, and stream_stopped.
[[nodiscard]] xmlDocPtr ready_record(record_stream &stream);
// Gives it to the caller.
[[nodiscard]] xml_doc_ptr take_record(record_stream &stream) noexcept;
// Whether the document has come to its end and all of its records were given out.
[[nodiscard]] bool is_complete(const record_stream &stream) noexcept;

// src/stream/record_builder.cpp: the callbacks of libxml2.
void set_record_callbacks(record_stream &stream) noexcept;

} // namespace pkg_dbe_xml
