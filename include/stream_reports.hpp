// The reports of streams, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- streams ---
inline constexpr report_row record_path_syntax{0, "XP001",
    "the record path has a syntax error at character %d: %s",
    "A record path is a chain of child steps, each a name, a prefixed name or *, with // at one place at most.",
    "Write a path like /feed/entry or //item, and choose further in the records.", nullptr, true};
inline constexpr report_row record_path_prefix{0, "XP002",
    "unknown prefix \"%s\" in the record path",
    "The prefix is not among the namespaces that were passed.",
    "Pass the namespaces as pairs: array[array['prefix', 'URI']].", nullptr, true};
inline constexpr report_row unknown_stream{0, "2200X", "this is no stream of this session",
    "It was closed, it ended with the transaction that opened it, or the value never was one.",
    "Open a stream and read it within one transaction.", nullptr, true};
inline constexpr report_row too_many_streams{0, "54000", "the numbers for streams are used up",
    "Every number is handed out once.", "Go on in a new session.", nullptr, true};
inline constexpr report_row stream_broken{0, "2200M", "the text of the stream is no XML document",
    "The text that was fed last cannot go on the document that came before.",
    "Records before this place were given out; mend the text and go on with a new stream.",
    nullptr, true};
inline constexpr report_row stream_stopped{0, "55000",
    "the stream ended in the middle of a text when a statement failed",
    "What the statement was reading cannot be read twice.", "Open a new stream.", nullptr, true};
inline constexpr report_row stream_cut_short{0, "2200M", "the document is cut short",
    "The text ends before the root element does.", "Check where the text comes from.", nullptr, true};
inline constexpr report_row stream_kinds_mixed{0, "22023",
    "texts and bytes are fed to the same stream",
    "Texts are in the encoding of the database, bytes in that of the document.",
    "Feed one or the other.", nullptr, true};
inline constexpr report_row stream_in_use{0, "55006", "the stream is being read by another call",
    "A call that reads it was left by way of a function that it had called.",
    "Read a stream from one place.", nullptr, true};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
