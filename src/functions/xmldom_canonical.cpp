// The canonical form of nodes, as bytes and in large objects.

#include "canonical_reports.hpp"
#include "functions/package_arguments.hpp"
#include "functions/path_arguments.hpp"
#include "host/encoding.hpp"
#include "host/large_object.hpp"
#include "host/text_array.hpp"
#include "text/text_limits.hpp"
#include "write/canonical_writer.hpp"
#include "write/object_writer.hpp"
#include "write/serialization.hpp"

#include <algorithm>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_canonical{
    "xmldom.canonical", {"node", "exclusive", "with_comments", "inclusive_prefixes", "version"}};
constexpr package_function k_canonical_to_large_object{
    "xmldom.canonical_to_large_object",
    {"node", "large_object", "exclusive", "with_comments", "inclusive_prefixes", "version"}};

constexpr node_wish k_canonical_node{
    type_bits(XML_DOCUMENT_NODE, XML_DOCUMENT_FRAG_NODE, XML_ELEMENT_NODE, XML_TEXT_NODE,
              XML_CDATA_SECTION_NODE, XML_COMMENT_NODE, XML_PI_NODE),
    "a document, a fragment, an element or one of its children"};

// An argument that is null for what it is by default.
[[nodiscard]] bool is_set(const host::call &call, int index) noexcept {
    return !call.is_null(index) && call.boolean(index);
}

[[nodiscard]] canonical_form form_argument(const host::call &call, const package_call &here,
                                           int exclusive, int version) {
    const std::string_view wanted = call.is_null(version) ? "1.0" : utf8_text(call.value(version));
    if (wanted != "1.0" && wanted != "1.1") {
        here.fail(reports::canonical_version, version, {wanted});
    }
    if (!is_set(call, exclusive)) {
        return wanted == "1.1" ? canonical_form::version_1_1 : canonical_form::version_1_0;
    }
    if (wanted == "1.1") {
        here.fail(reports::canonical_exclusive_version, version);
    }
    return canonical_form::exclusive;
}

// A prefix as libxml2 has it, null for "#default", in memory of the call.
[[nodiscard]] const xmlChar *prefix_of(host::datum member, const package_call &here, int index) {
    const std::string_view text = utf8_text(member);
    if (text == "#default") {
        return nullptr;
    }
    auto *const prefix = static_cast<char *>(
        host::mmgr_memory_alloc_from_controller(host::current_memory_context(), text.size() + 1));
    *std::copy_n(text.data(), text.size(), prefix) = 0;
    if (xmlValidateNCName(as_xml(prefix), 0) != 0) {
        here.fail(reports::canonical_prefix, index, {text});
    }
    return as_xml(prefix);
}

[[nodiscard]] std::span<const xmlChar *const> prefixes_argument(const host::call &call,
                                                                const package_call &here, int index,
                                                                canonical_form form) {
    if (call.is_null(index)) {
        return {};
    }
    const host::text_table table = host::texts_of_array(call.value(index));
    if (table.fault == host::pairs_fault::null_member) {
        here.fail(reports::canonical_prefix_null, index);
    }
    if (table.fault != host::pairs_fault::none || (table.rows != 0 && table.columns != 1)) {
        here.fail(reports::canonical_prefixes_shape, index);
    }
    if (table.rows == 0) {
        return {};
    }
    if (form != canonical_form::exclusive) {
        here.fail(reports::canonical_prefixes_unused, index);
    }
    auto *const prefixes = static_cast<const xmlChar **>(host::mmgr_memory_alloc_from_controller(
        host::current_memory_context(), table.rows * sizeof(const xmlChar *)));
    for (std::size_t row = 0; row < table.rows; ++row) {
        prefixes[row] = prefix_of(table.members[row], here, index);
    }
    std::sort(prefixes, prefixes + table.rows,
              [](const xmlChar *left, const xmlChar *right) noexcept {
                  return xmlStrcmp(left, right) < 0;
              });
    return {prefixes, table.rows};
}

// The options, of which the first is the argument `first`.
[[nodiscard]] canonical_options options_argument(const host::call &call, const package_call &here,
                                                 int first) {
    canonical_options options;
    options.form = form_argument(call, here, first, first + 3);
    options.with_comments = is_set(call, first + 1);
    options.inclusive_prefixes = prefixes_argument(call, here, first + 2, options.form);
    return options;
}

} // namespace

// Arguments: node, exclusive, with comments, inclusive prefixes, version. Reports those of
// canonical_reports.hpp, unwritable_node and over_one_gigabyte.
PKG_DBE_XML_FUNCTION(xmldom_canonical) {
    const package_call here(call, k_canonical);
    const named_node named = here.needed_node(0, k_canonical_node);
    const canonical_options options = options_argument(call, here, 1);
    text_output output(longest_value());
    write_canonical(named.node, options, output);
    if (output.size() > longest_value()) {
        report(reports::over_one_gigabyte);
    }
    return host::from_pointer(asserted(output.take_value(), k_no_result_room));
}

// Arguments: node, large object (null or 0: a new one), and those above. The large object.
PKG_DBE_XML_FUNCTION(xmldom_canonical_to_large_object) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    const package_call here(call, k_canonical_to_large_object);
    const named_node named = here.needed_node(0, k_canonical_node);
    const canonical_options options = options_argument(call, here, 2);
    const bool is_new = call.is_null(1) || call.uint4(1) == host::k_no_object;
    const host::object_number number = is_new ? host::create_large_object() : call.uint4(1);
    object_writer writer(number, host::k_utf8);
    const text_sink sink = writer.sink();
    text_output output(sink);
    write_canonical(named.node, options, output);
    output.flush();
    writer.finish();
    return host::from_uint4(number);
}

} // namespace pkg_dbe_xml
