// See record_stream.hpp.
#include "stream/record_stream.hpp"

#include "host/limits.hpp"
#include "host/memory.hpp"
#include "libxml/xml.hpp"
#include "parse/failure_words.hpp"
#include "registry/parser_registry.hpp"
#include "stream_reports.hpp"

#include <libxml/dict.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace pkg_dbe_xml {

namespace {

// Unread text that was used up is taken away when it is more than the rest, and at least this.
constexpr std::size_t k_worth_moving = 65536;

void free_ready(record_stream &stream) noexcept {
    const host::tree_scope scope;
    while (stream.first_ready != nullptr) {
        xmlDocPtr const document = stream.first_ready;
        stream.first_ready = reinterpret_cast<xmlDocPtr>(document->next);
        document->next = nullptr;
        host::discard_document(document);
    }
    stream.last_ready = nullptr;
}

// Names are kept as long as the stream, so their number is bounded like what it takes to parse.
void bound_dictionary(record_stream &stream) {
    constexpr std::size_t k_kilobyte = 1024;
    const auto most = static_cast<std::size_t>(host::parse_limits.budget_base) * k_kilobyte;
    host::push_parse &parse = stream.parse;
    if (!parse.failed && xmlDictGetUsage(parse.run.context->dict) > most) {
        host::stop_parse(parse.run, parse.run.context, host::k_budget_base_name,
                         host::parse_limits.budget_base);
        parse.failed = true;
    }
}

[[nodiscard]] std::string_view unread_text(const record_stream &stream) noexcept {
    return {stream.unread.begin() + stream.taken, stream.unread.size() - stream.taken};
}

void drop_used_text(record_stream &stream) noexcept {
    const std::size_t left = stream.unread.size() - stream.taken;
    if (left == 0) {
        stream.unread.clear();
        stream.taken = 0;
    } else if (stream.taken >= k_worth_moving && stream.taken > left) {
        std::memmove(stream.unread.data(), stream.unread.data() + stream.taken, left);
        stream.unread.shrink(left);
        stream.taken = 0;
    }
}

void begin_feed(record_stream &stream, feed_kind kind, std::size_t size) {
    if (stream.kind != feed_kind::none && stream.kind != kind) {
        report(reports::stream_kinds_mixed);
    }
    if (stream.is_reading) {
        report(reports::stream_in_use);
    }
    const auto waiting = static_cast<std::int64_t>(unread_text(stream).size() + size);
    if (!host::has_room_for_handles(waiting)) {
        report(reports::session_memory_full);
    }
    stream.kind = kind;
    drop_used_text(stream);
}

[[noreturn]] void report_broken(const record_stream &stream, std::string_view words, int line,
                                int column) {
    char context[sizeof host::parse_diagnostics::first_error + 160];
    const auto records = static_cast<long long>(stream.ended);
    if (line > 0) {
        std::snprintf(context, sizeof context, "line %d, column %d, after %lld records: %.*s", line,
                      column, records, static_cast<int>(words.size()), words.data());
    } else {
        std::snprintf(context, sizeof context, "after %lld records: %.*s", records,
                      static_cast<int>(words.size()), words.data());
    }
    report(reports::stream_broken, {}, {}, context);
}

[[noreturn]] void report_failure(const record_stream &stream) {
    const host::parse_diagnostics &notes = stream.parse.notes;
    if (notes.first_error[0] == '\0' && notes.limit == nullptr) {
        report(reports::stream_stopped);
    }
    report_broken(stream, failure_words(notes).view(), notes.line, notes.column);
}

// The bytes of the next character are none.
[[noreturn]] void report_undecodable(const record_stream &stream) {
    char words[128];
    std::snprintf(words, sizeof words, "the bytes that follow are no text in %s",
                  stream.decoder.encoding());
    report_broken(stream, words, 0, 0);
}

class reading {
  public:
    explicit reading(record_stream &stream) : stream_(stream) {
        if (stream.is_reading) {
            report(reports::stream_in_use);
        }
        stream.is_reading = true;
    }
    ~reading() { stream_.is_reading = false; }
    reading(const reading &) = delete;
    reading &operator=(const reading &) = delete;

  private:
    record_stream &stream_;
};

} // namespace

void end_stream(record_stream *stream) noexcept {
    free_ready(*stream);
    {
        const host::tree_scope scope;
        host::end_push(stream->parse);
        xmlFree(stream->levels);
    }
    stream->~record_stream();
    host::mmgr_free_with_fl(stream, __FILE__, __LINE__);
}

record_stream_ptr begin_stream(const stream_request &request) {
    require_parser_table(); // and with it the context
    void *const memory =
        host::mmgr_memory_alloc_zero(host::u_sess.xmlparser_context, sizeof(record_stream));
    record_stream_ptr stream(new (memory) record_stream);
    stream->inherits = request.inherits;
    stream->to_skip = request.to_skip;
    host::begin_push(stream->parse, stream.get());
    set_record_callbacks(*stream);
    read_record_path(stream->path, request.path, request.namespaces,
                     stream->parse.run.context->dict);
    return stream;
}

void feed_text(record_stream &stream, std::string_view text) {
    begin_feed(stream, feed_kind::text, text.size());
    const host::context_scope scope(host::u_sess.xmlparser_context);
    stream.unread.append(text.data(), text.size());
    stream.fed += static_cast<std::int64_t>(text.size());
}

void feed_bytes(record_stream &stream, std::string_view bytes) {
    begin_feed(stream, feed_kind::bytes, bytes.size());
    const host::context_scope scope(host::u_sess.xmlparser_context);
    if (!stream.undecodable) {
        stream.undecodable = !stream.decoder.add(bytes, stream.unread);
    }
    stream.fed += static_cast<std::int64_t>(bytes.size());
}

xmlDocPtr ready_record(record_stream &stream) {
    const reading here(stream);
    while (stream.first_ready == nullptr) {
        if (stream.parse.failed) {
            report_failure(stream);
        }
        const std::string_view text = unread_text(stream);
        const std::size_t used =
            text.empty() ? 0 : host::push_some(stream.parse, text.data(), text.size());
        stream.taken += used;
        if (used == 0 && !stream.parse.failed) {
            if (stream.undecodable) {
                report_undecodable(stream);
            }
            return nullptr;
        }
        bound_dictionary(stream);
    }
    return stream.first_ready;
}

xml_doc_ptr take_record(record_stream &stream) noexcept {
    xmlDocPtr const document = stream.first_ready;
    stream.first_ready = reinterpret_cast<xmlDocPtr>(document->next);
    if (stream.first_ready == nullptr) {
        stream.last_ready = nullptr;
    }
    document->next = nullptr;
    ++stream.given;
    return xml_doc_ptr(document);
}

bool is_complete(const record_stream &stream) noexcept {
    return stream.root_ended && !stream.parse.failed && !stream.undecodable &&
           stream.first_ready == nullptr && unread_text(stream).empty() &&
           !stream.decoder.holds_bytes() && host::holds_only_blanks(stream.parse);
}

} // namespace pkg_dbe_xml
