// Rows out of streams: a row for each record, in one statement, with the memory of one record.

#include "functions/row_maker.hpp"
#include "host/large_object.hpp"
#include "host/notice.hpp"
#include "parse/parse_text.hpp"
#include "stream/record_stream.hpp"
#include "stream_reports.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_rows{
    "xmlparser.rows", {"source", "record_path", "columns", "namespaces", "on_error", "skip"}};
constexpr int k_skip = 5;
constexpr int k_notice_every = 6;

// Bytes that are fed at once.
constexpr std::size_t k_feed = 65536;

// The rows of one call.
class record_rows {
  public:
    explicit record_rows(host::call &call)
        : rows_(call, k_rows, row_source::own),
          notice_every_(call.is_null(k_notice_every) ? 0 : call.int4(k_notice_every)) {
        stream_request request;
        request.path = rows_.path_text();
        request.namespaces = rows_.bindings().namespaces;
        request.to_skip = call.is_null(k_skip) ? 0 : static_cast<std::int64_t>(call.value(k_skip));
        stream_ = begin_stream(request);
    }
    void feed_bytes_of(std::string_view bytes) {
        feed_bytes(*stream_, bytes);
        take_records();
    }
    void feed_text_of(std::string_view text) {
        feed_text(*stream_, text);
        take_records();
    }
    // Reports stream_cut_short.
    [[nodiscard]] host::datum finish() {
        if (!is_complete(*stream_)) {
            report(reports::stream_cut_short);
        }
        return rows_.finish();
    }
    [[nodiscard]] host::datum finish_without_source() { return rows_.finish(); }

  private:
    void take_records() {
        while (ready_record(*stream_) != nullptr) {
            const xml_doc_ptr record = take_record(*stream_);
            rows_.begin_document();
            rows_.add(record->children);
            if (notice_every_ > 0 && stream_->given % notice_every_ == 0) {
                tell();
            }
        }
    }
    void tell() const {
        char words[96];
        const int size = std::snprintf(
            words, sizeof words, "xmlparser.rows: %lld records in %lld bytes",
            static_cast<long long>(stream_->given), static_cast<long long>(stream_->fed));
        host::report_notice({words, static_cast<std::size_t>(size)});
    }

    row_maker rows_;
    std::int64_t notice_every_;
    record_stream_ptr stream_;
};

} // namespace

// Arguments: source, record path, paths of the columns, namespaces, on_error, skip, notice_every.
// Reports what row_maker, begin_stream, feeding and ready_record report, and stream_cut_short.
PKG_DBE_XML_FUNCTION(xmlparser_rows_of_text) {
    record_rows rows(call);
    if (call.is_null(row_maker::k_source)) {
        return rows.finish_without_source();
    }
    const parse_text text(call.value(row_maker::k_source), reports::text_too_large);
    std::string_view rest(text.bytes(), text.size());
    while (!rest.empty()) {
        rows.feed_text_of(rest.substr(0, k_feed));
        rest.remove_prefix(std::min(rest.size(), k_feed));
    }
    return rows.finish();
}

// The same of bytes, which say themselves how they are encoded.
PKG_DBE_XML_FUNCTION(xmlparser_rows_of_bytes) {
    record_rows rows(call);
    if (call.is_null(row_maker::k_source)) {
        return rows.finish_without_source();
    }
    const host::datum value = call.value(row_maker::k_source);
    const host::varlena *const stored = host::pg_detoast_datum(value);
    const std::unique_ptr<host::varlena, host::memory_deleter> fetched(
        host::from_pointer(stored) == value ? nullptr : const_cast<host::varlena *>(stored));
    std::string_view rest = host::text_view(stored);
    while (!rest.empty()) {
        rows.feed_bytes_of(rest.substr(0, k_feed));
        rest.remove_prefix(std::min(rest.size(), k_feed));
    }
    return rows.finish();
}

// The same of the bytes of a large object.
PKG_DBE_XML_FUNCTION(xmlparser_rows_of_object) {
    record_rows rows(call);
    if (call.is_null(row_maker::k_source)) {
        return rows.finish_without_source();
    }
    const host::large_object object(call.uint4(row_maker::k_source), host::object_use::read);
    const auto room = static_cast<std::size_t>(
        std::min<std::int64_t>(host::object_piece(), static_cast<std::int64_t>(k_feed)));
    const std::unique_ptr<char, host::memory_deleter> piece(static_cast<char *>(
        host::mmgr_memory_alloc_from_controller(host::current_memory_context(), room)));
    for (std::int64_t offset = 0;;) {
        const std::size_t size =
            host::read_large_object(object.descriptor(), offset, piece.get(), room);
        if (size == 0) {
            return rows.finish();
        }
        offset += static_cast<std::int64_t>(size);
        rows.feed_bytes_of({piece.get(), size});
    }
}

} // namespace pkg_dbe_xml
