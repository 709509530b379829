// Failures about arguments of the packages' functions.
#include "functions/package_arguments.hpp"

#include <array>
#include <cstdio>
#include <cstring>

namespace pkg_dbe_xml {
namespace {

[[nodiscard]] const char *collection_words(const XMLHashEntry &entry) noexcept {
    return entry.kind == XMLDomNodeType::node_list ? "a list" : "a map of attributes";
}

// A line of CONTEXT about an argument.
struct context_line {
    std::array<char, 512> bytes;
    context_line(const package_function &function, int index, std::string_view names) noexcept {
        std::snprintf(bytes.data(), bytes.size(), "argument %d (%s) of %s%s%.*s", index + 1,
                      function.arguments[index], function.name, names.empty() ? "" : " names ",
                      static_cast<int>(names.size()), names.data());
    }
};

} // namespace

void package_call::fail(const report_row &row, int index,
                        std::initializer_list<std::string_view> texts, const xmlNode *named,
                        const char *file, int line, const char *function) const {
    const node_words words(named);
    const context_line context(function_, index,
                               named == nullptr ? std::string_view{} : words.view());
    report(row, texts, {}, context.bytes.data(), file, line, function);
}

XMLHashEntry *package_call::look_up_stored_handle(host::datum value) {
    host::packed_room room;
    const host::varlena *const packed =
        asserted(host::pg_detoast_datum_packed(value, room), k_no_short_value);
    if (host::total_size(packed) != k_packed_handle_size || !host::has_short_header(packed)) {
        return nullptr;
    }
    DomKey key;
    std::memcpy(key.bytes.data(), host::payload(packed).data(), k_key_size);
    return look_up_handle(key);
}

void package_call::fail_as_no_collection(int index, const char *words,
                                         const XMLHashEntry &entry) const {
    const xmlNode *const found = is_collection(entry) ? nullptr : as_node(entry.object);
    fail(reports::wrong_node_type, index,
         {words, found == nullptr ? collection_words(entry) : node_words(found).view()}, found);
}

void package_call::fail_as_null(int index) const {
    fail(reports::null_package_argument, index, {function_.arguments[index], function_.name});
}

void package_call::fail_as_handle(int index, const XMLHashEntry *entry) const {
    fail(entry == nullptr ? reports::unknown_handle : reports::stale_handle, index);
}

void package_call::fail_as_collection(int index, const node_wish &wish,
                                      const XMLHashEntry &entry) const {
    fail(reports::wrong_node_type, index, {wish.words, collection_words(entry)});
}

void package_call::fail_as_type(int index, const node_wish &wish, const xmlNode *found) const {
    fail(reports::wrong_node_type, index, {wish.words, node_words(found)}, found);
}

} // namespace pkg_dbe_xml
