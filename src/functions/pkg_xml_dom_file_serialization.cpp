// Writing documents and nodes into files of directory objects.
#include "files/file_paths.hpp"
#include "files/tree_files.hpp"
#include "functions/call_frame.hpp"
#include "host/memory.hpp"
#include "host/path.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr std::size_t k_longest_character_set = 60;

using host_text = std::unique_ptr<char, host::memory_deleter>;

// The operating system's words about a file, for CONTEXT.
class file_context {
  public:
    file_context(const char *path, int reason) noexcept {
        const int length =
            std::snprintf(bytes_, sizeof bytes_, "file \"%s\": %s", path, std::strerror(reason));
        size_ = std::min(static_cast<std::size_t>(length), sizeof bytes_ - 1);
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes_, size_}; }

  private:
    char bytes_[5120];
    std::size_t size_;
};

// Ends the statement for what went wrong in the writing: a request to stop, memory, the file.
[[noreturn]] void fail_writing(const char *path, int reason, bool out_of_memory) {
    host::check_for_interrupts();
    if (out_of_memory) {
        report(reports::out_of_memory);
    }
    if (reason == 0) {
        report(reports::write_failed);
    }
    report(reports::write_failed, {}, {}, file_context(path, reason).view());
}

// Opens the file of a node. Reports file_not_opened.
[[nodiscard]] file_ptr open_file(const char *path) {
    file_ptr file(host::open_output_file(path));
    if (file == nullptr) {
        const int reason = errno;
        const file_context context(path, reason);
        errno = reason;
        report(reports::file_not_opened, {path}, {}, context.view());
    }
    return file;
}

// Makes a written file take its place.
void finish_file(file_ptr file, const char *path) {
    host::check_for_interrupts();
    if (!host::close_output_file(file.release())) {
        fail_writing(path, errno, false);
    }
}

// Reports null_argument for the first of the two arguments that is null.
void require_arguments(const host::call &call) {
    if (call.is_null(0)) {
        report(reports::null_argument, {}, {"1"});
    }
    if (call.is_null(1)) {
        report(reports::null_argument, {}, {"2"});
    }
}

// The path behind DIR/NAME.xml, after all checks.
[[nodiscard]] host_text checked_path(host::datum value) {
    text_argument argument(value);
    argument.to_utf8();
    char *directory = nullptr;
    char *file_part = nullptr;
    check_and_get_input_path(argument.data(), directory, file_part);
    const host_text directory_name(directory);
    host_text path(check_safe_path(directory, file_part));
    check_copy_file_permission(path.get());
    return path;
}

[[nodiscard]] bool has_handler(const char *character_set) {
    const host::xml_scope scope;
    const encoding_handler_ptr handler(find_encoding_handler(character_set));
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return handler != nullptr;
}

// The character set a document is to be written in, in UTF-8. Reports character_set_too_long and
// unsupported_character_set.
void check_character_set(text_argument &name) {
    const std::size_t size = name.size();
    name.to_utf8();
    if (size > k_longest_character_set) {
        report(reports::character_set_too_long);
    }
    if (!has_handler(name.c_str())) {
        report(reports::unsupported_character_set);
    }
}

// Writes a document with its declaration, indented. Without `encoding` in the document's own. As
// fixed, a character set that nobody knows counts as a failed write, before there is a file.
void save_document(const char *path, xmlDocPtr document, const char *encoding) {
    const char *name =
        encoding != nullptr ? encoding : reinterpret_cast<const char *>(document->encoding);
    file_ptr file;
    const dump_result result = dump_document(path, document, name, file);
    if (!result.done || result.out_of_memory) {
        file.reset();
        fail_writing(path, result.reason, result.out_of_memory);
    }
    finish_file(std::move(file), path);
}

// Writes the value of an attribute as it is, in UTF-8; an attribute without one leaves the file
// empty.
void write_value(file_ptr file, const char *path, xmlNodePtr attribute) {
    xml_text_ptr value;
    {
        const host::tree_scope scope;
        value.reset(xmlNodeListGetString(attribute->doc, attribute->children, 1));
        if (scope.refused()) {
            report(reports::out_of_memory);
        }
    }
    file_sink sink{file.get()};
    if (value != nullptr) {
        const auto *bytes = reinterpret_cast<const char *>(value.get());
        if (!sink.write(bytes, std::strlen(bytes))) {
            file.reset();
            fail_writing(path, sink.reason, false);
        }
    }
    finish_file(std::move(file), path);
}

// Leaves the file that opening it has made, and reports.
[[noreturn]] void give_file_up(file_ptr file, const report_row &row) {
    host::leave_created_file(file.release());
    report(row);
}

// Writes an element, text or document, with the character set where there is a third argument.
void write_markup(const host::call &call, file_ptr file, const char *path, xmlNodePtr node) {
    std::optional<text_argument> name;
    if (call.argument_count > 2) {
        if (call.is_null(2)) {
            give_file_up(std::move(file), reports::numeric_or_value_error);
        }
        name.emplace(call.value(2));
        name->to_utf8();
    }
    dump_result result{};
    {
        const host::xml_scope scope;
        encoding_handler_ptr handler(name ? find_encoding_handler(name->c_str()) : nullptr);
        if (name && handler == nullptr && !scope.refused()) {
            give_file_up(std::move(file), reports::unsupported_character_set);
        }
        if (!scope.refused()) {
            xmlInitParser();
            result = xml_elem_dump(file.get(), node->doc, node, name ? name->c_str() : nullptr,
                                   handler.release());
        }
        result.out_of_memory = scope.refused();
    }
    if (!result.done || result.out_of_memory) {
        file.reset();
        fail_writing(path, result.reason, result.out_of_memory);
    }
    finish_file(std::move(file), path);
}

} // namespace

} // namespace pkg_dbe_xml

// Arguments: document, file (DIR/NAME.xml), optional character set; a null character set is none.
// Writes the document with its declaration, indented, in the character set, else in its declared
// one, else in UTF-8. Reports, in this order: null_argument, handle_not_found, node_gone,
// not_a_document, character_set_too_long, unsupported_character_set, the reports of the path
// functions, write_failed.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_file_doc) {
    using namespace pkg_dbe_xml;
    host::StmtRetrySetQuerytUnsupportedFlag();
    require_arguments(call);
    xmlDocPtr document = require_document(find_handle(call, 0));
    const char *encoding = document->encoding == nullptr ? "UTF-8" : nullptr;
    std::optional<text_argument> character_set;
    if (!call.is_null(2)) {
        check_character_set(character_set.emplace(call.value(2)));
        encoding = character_set->c_str();
    }
    const host_text path = checked_path(call.value(1));
    save_document(path.get(), document, encoding);
    return call.null();
}

PKG_DBE_XML_RETURNING(xml_dom_write_to_file_doc, call.same_as(0))

// Arguments: node, file (DIR/NAME.xml), optional character set, which must not be null. Writes an
// element or a text as markup, a document with its declaration, an attribute as its bare value.
// Reports, in this order: null_argument, handle_not_found for a value that is no handle, the
// reports of the path functions, handle_not_found, node_gone, inconsistent_types,
// file_not_opened, numeric_or_value_error, unsupported_character_set, not_for_write_to_file,
// write_failed. Of the three before the last an empty file is left where there was none.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_file_node) {
    using namespace pkg_dbe_xml;
    host::StmtRetrySetQuerytUnsupportedFlag();
    require_arguments(call);
    static_cast<void>(check_raw_id_valid(call.value(0)));
    const host_text path = checked_path(call.value(1));
    xmlNodePtr node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        report(reports::node_gone);
    }
    file_ptr file = open_file(path.get());
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        write_value(std::move(file), path.get(), node);
        break;
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_DOCUMENT_NODE:
        write_markup(call, std::move(file), path.get(), node);
        break;
    default:
        give_file_up(std::move(file), reports::not_for_write_to_file);
    }
    return call.null();
}

PKG_DBE_XML_RETURNING(xml_dom_write_to_file_node, call.same_as(0))
