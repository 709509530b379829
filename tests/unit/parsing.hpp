// Parsing through the host's XML service, for unit tests.
#pragma once

#include "support/sql.hpp"

#include "host/limits.hpp"
#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <string>
#include <string_view>

namespace parsing {

// What documents made from text are parsed with, and what parser objects parse with.
inline constexpr int k_document_options = 526610;
inline constexpr int k_parser_options = 526346;
inline constexpr int k_validating_parser_options = 526362;

struct outcome {
    pkg_dbe_xml::xml_doc_ptr document;
    host::parse_diagnostics notes{};
};

// Throws what the service throws.
inline outcome parse(std::string_view text, int options = k_document_options) {
    outcome result;
    const pkg_dbe_xml::xml_parser_ctxt_ptr context(host::get_new_parser_ctxt());
    result.document.reset(host::xml_parse_doc(context.get(), text.data(), text.size(), options,
                                              options == k_document_options, result.notes));
    return result;
}

// The document as libxml2 writes it, in UTF-8, without indentation.
inline std::string written(const xmlDoc *document) {
    if (document == nullptr) {
        return "(no document)";
    }
    const host::xml_scope scope;
    xmlChar *bytes = nullptr;
    int size = 0;
    xmlDocDumpMemoryEnc(const_cast<xmlDoc *>(document), &bytes, &size, "UTF-8");
    const pkg_dbe_xml::xml_text_ptr owner(bytes);
    return {reinterpret_cast<const char *>(bytes), static_cast<std::size_t>(size)};
}

inline std::string root_text(const outcome &result) {
    if (result.document == nullptr) {
        return "(no document)";
    }
    const pkg_dbe_xml::xml_text_ptr content(
        xmlNodeGetContent(xmlDocGetRootElement(result.document.get())));
    return reinterpret_cast<const char *>(content.get());
}

inline std::string repeat(std::string_view piece, int count) {
    std::string text;
    text.reserve(piece.size() * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// That many pieces, each with its number, from 0, in the middle.
inline std::string numbered(std::string_view before, int count, std::string_view after) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += before;
        text += std::to_string(i);
        text += after;
    }
    return text;
}

// Puts the limits back when it goes.
class limits_kept {
  public:
    limits_kept() : before_(host::parse_limits) {}
    ~limits_kept() { host::parse_limits = before_; }
    limits_kept(const limits_kept &) = delete;
    limits_kept &operator=(const limits_kept &) = delete;

  private:
    host::parse_limit_settings before_;
};

// What the process prints to stderr while it lives.
class stderr_watch {
  public:
    stderr_watch() { ::testing::internal::CaptureStderr(); }
    ~stderr_watch() {
        if (!read_) {
            ::testing::internal::GetCapturedStderr();
        }
    }
    std::string printed() {
        read_ = true;
        return ::testing::internal::GetCapturedStderr();
    }
    stderr_watch(const stderr_watch &) = delete;
    stderr_watch &operator=(const stderr_watch &) = delete;

  private:
    bool read_ = false;
};

} // namespace parsing
