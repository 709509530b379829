// Streams of records: text goes in piece by piece, documents come out one by one.

#include "functions/package_arguments.hpp"
#include "functions/path_arguments.hpp"
#include "host/encoding.hpp"
#include "stream/stream_table.hpp"
#include "stream_reports.hpp"
#include "text/fetched_value.hpp"

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_open_stream{"xmlparser.open_stream",
                                         {"record_path", "namespaces", "inherit", "skip"}};
constexpr package_function k_feed{"xmlparser.feed", {"stream", "piece"}};
constexpr package_function k_next_record{"xmlparser.next_record", {"stream"}};
constexpr package_function k_is_complete{"xmlparser.is_complete", {"stream"}};
constexpr package_function k_record_number{"xmlparser.record_number", {"stream"}};
constexpr package_function k_close_stream{"xmlparser.close_stream", {"stream"}};

constexpr int k_namespaces = 1;
constexpr int k_inherit = 2;
constexpr int k_skip = 3;
constexpr int k_piece = 1;

// The key of a handle argument. Reports null_package_argument and unknown_stream.
[[nodiscard]] DomKey key_argument(const host::call &call, const package_call &here) {
    here.needs(0);
    if (const DomKey *const key = handle_in_place(call.value(0))) {
        return *key;
    }
    host::packed_room room;
    const host::varlena *const packed = host::pg_detoast_datum_packed(call.value(0), room);
    if (host::payload(packed).size() != k_key_size) {
        here.fail(reports::unknown_stream, 0);
    }
    DomKey key;
    std::memcpy(key.bytes.data(), host::payload(packed).data(), k_key_size);
    return key;
}

[[nodiscard]] record_stream &stream_argument(const host::call &call, const package_call &here) {
    record_stream *const stream = find_stream(key_argument(call, here));
    if (stream == nullptr) {
        here.fail(reports::unknown_stream, 0);
    }
    return *stream;
}

[[nodiscard]] host::datum from_int8(std::int64_t value) noexcept {
    return static_cast<host::datum>(value);
}

} // namespace

// Arguments: record path, namespaces, inherit, skip. Reports null_package_argument,
// path_bindings_shape, path_bindings_null, record_path_syntax, record_path_prefix and
// too_many_streams.
PKG_DBE_XML_FUNCTION(xmlparser_open_stream) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    const package_call here(call, k_open_stream);
    here.needs(0);
    stream_request request;
    request.path = utf8_text(call.value(0));
    request.namespaces = bindings_argument(call, here, k_namespaces);
    request.inherits = !call.is_null(k_inherit) && call.boolean(k_inherit);
    request.to_skip = call.is_null(k_skip) ? 0 : static_cast<std::int64_t>(call.value(k_skip));
    record_stream_ptr stream = begin_stream(request);
    return enter_stream(stream);
}

// Arguments: stream, piece. Reports null_package_argument, unknown_stream, stream_kinds_mixed,
// stream_in_use and session_memory_full.
PKG_DBE_XML_FUNCTION(xmlparser_feed_text) {
    record_stream &stream = stream_argument(call, package_call(call, k_feed));
    if (!call.is_null(k_piece)) {
        const fetched_value piece(call.value(k_piece));
        const std::string_view stored = piece.view();
        const int encoding = host::mb_get_database_encoding();
        char *const source = const_cast<char *>(stored.data());
        char *const converted = encoding == host::k_utf8 || stored.empty()
                                    ? source
                                    : host::mb_do_encoding_conversion(
                                          source, stored.size(), encoding, host::k_utf8, false);
        const std::unique_ptr<char, host::memory_deleter> owned(converted == source ? nullptr
                                                                                    : converted);
        feed_text(stream, owned == nullptr ? stored : std::string_view(converted));
    }
    return call.same_as(0);
}

// The same of bytes. Reports unsupported_character_set and out_of_memory too.
PKG_DBE_XML_FUNCTION(xmlparser_feed_bytes) {
    record_stream &stream = stream_argument(call, package_call(call, k_feed));
    if (!call.is_null(k_piece)) {
        feed_bytes(stream, fetched_value(call.value(k_piece)).view());
    }
    return call.same_as(0);
}

// The next record as a document of the session. Reports null_package_argument, unknown_stream,
// stream_broken, stream_stopped and stream_in_use.
PKG_DBE_XML_FUNCTION(xmlparser_next_record) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    record_stream &stream = stream_argument(call, package_call(call, k_next_record));
    xmlDocPtr const record = ready_record(stream);
    if (record == nullptr) {
        return call.null();
    }
    const host::datum handle = register_document(record);
    static_cast<void>(take_record(stream).release()); // the registry owns it
    return handle;
}

// Reports unknown_stream, as the following ones do.
PKG_DBE_XML_FUNCTION(xmlparser_is_complete) {
    return host::from_boolean(
        is_complete(stream_argument(call, package_call(call, k_is_complete))));
}

PKG_DBE_XML_FUNCTION(xmlparser_record_number) {
    const record_stream &stream = stream_argument(call, package_call(call, k_record_number));
    return from_int8(stream.given == 0 ? 0 : stream.given + stream.to_skip);
}

PKG_DBE_XML_FUNCTION(xmlparser_close_stream) {
    const package_call here(call, k_close_stream);
    static_cast<void>(stream_argument(call, here));
    close_stream(key_argument(call, here));
    return call.null();
}

} // namespace pkg_dbe_xml
