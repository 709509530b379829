// Reading a text as a stream, for tests.
#pragma once

#include "standalone_session.hpp"
#include "support/sql.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace streams {

struct options {
    std::vector<const char *> namespaces{};
    bool inherit = false;
    int skip = 0;
};

inline sql::handle open(std::string_view path, const options &wanted = {}) {
    const sql::value namespaces =
        wanted.namespaces.empty()
            ? sql::value(sql::null)
            : sql::value::of_datum(host::standalone::make_text_array(wanted.namespaces));
    return sql::call(xmlparser_open_stream, path, namespaces, wanted.inherit, wanted.skip).handle();
}

// What a stream gave: records as texts, or "!" and the SQLSTATE of one that cannot be written; the
// same of a failure at its end, or "..." where it wants more.
struct outcome {
    std::vector<std::string> records;
    std::string end;
    bool operator==(const outcome &) const = default;
};

inline std::string shown(const outcome &what) {
    std::string text;
    for (const std::string &record : what.records) {
        text += record + "|";
    }
    return text + what.end;
}

inline void take_records(const sql::handle &stream, outcome &into) {
    for (;;) {
        const sql::result record = sql::call(xmlparser_next_record, stream);
        if (record.failed()) {
            into.end = "!" + record.error().sqlstate;
            return;
        }
        if (record.is_null()) {
            return;
        }
        const sql::result text = sql::call(xmldom_to_text, record.handle());
        into.records.push_back(text.failed() ? "!" + text.error().sqlstate : text.text());
        EXPECT_FALSE(sql::call(xml_dom_free_document, record.handle()).failed());
    }
}

// Feeds the pieces one after the other and takes records behind each; closes the stream.
inline outcome read(const sql::handle &stream, const std::vector<std::string> &pieces,
                    bool as_bytes = false) {
    outcome found;
    for (const std::string &piece : pieces) {
        const sql::result fed =
            sql::call(as_bytes ? xmlparser_feed_bytes : xmlparser_feed_text, stream, piece);
        if (fed.failed()) {
            found.end = "!" + fed.error().sqlstate;
            break;
        }
        take_records(stream, found);
        if (!found.end.empty()) {
            break;
        }
    }
    if (found.end.empty() && !sql::call(xmlparser_is_complete, stream).boolean()) {
        found.end = "...";
    }
    sql::call(xmlparser_close_stream, stream);
    host::standalone::reset_caller_context();
    return found;
}

inline std::string read_text(std::string_view path, std::string_view text,
                             const options &wanted = {}) {
    return shown(read(open(path, wanted), {std::string(text)}));
}

} // namespace streams
