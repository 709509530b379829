// Handles as values of the packages' types: read from text, written as text, cast from a node to
// what the node is.

#include "functions/package_arguments.hpp"
#include "text/hexadecimal.hpp"

#include <algorithm>
#include <array>

namespace pkg_dbe_xml {

namespace {

constexpr std::string_view k_prefix = "\\x";
constexpr std::size_t k_longest_shown = 40; // bytes of a text that is no handle

// The value of a hexadecimal digit, 16 for any other character.
[[nodiscard]] unsigned digit_value(char digit) noexcept {
    const char lower = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    return static_cast<unsigned>(std::min(k_lower_digits.find(lower), k_lower_digits.size()));
}

// Reads "\x" and two digits for each byte; false for anything else.
[[nodiscard]] bool read_key(std::string_view text, DomKey &key) noexcept {
    if (text.size() != k_prefix.size() + 2 * k_key_size || !text.starts_with(k_prefix)) {
        return false;
    }
    text.remove_prefix(k_prefix.size());
    for (std::size_t place = 0; place < k_key_size; ++place) {
        const unsigned high = digit_value(text[2 * place]);
        const unsigned low = digit_value(text[2 * place + 1]);
        if (high > 15 || low > 15) {
            return false;
        }
        key.bytes[place] = static_cast<std::byte>(high * 16 + low);
    }
    return true;
}

// The beginning of a text, never cut within a character, as a report shows it.
[[noreturn]] void report_no_handle(std::string_view text) {
    std::size_t size = std::min(text.size(), k_longest_shown);
    while (size > 0 && size < text.size() &&
           (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
        --size;
    }
    report(reports::not_a_handle, {text.substr(0, size), size < text.size() ? "..." : ""});
}

// The argument itself where it names a node of that type; the node's own handle where the argument
// is another one, which functions of other packages gave. Reports what package_call::node reports.
[[nodiscard]] host::datum cast_to(host::call &call, const package_function &function,
                                  const node_wish &wish) {
    const package_call here(call, function);
    const named_node cast = here.node(0, wish);
    return cast.entry == nullptr || cast.entry->is_own ? call.same_as(0)
                                                       : here.result(cast, cast.node);
}

constexpr package_function k_as_document{"the cast to xmldom.document", {"node"}};
constexpr package_function k_as_element{"the cast to xmldom.element", {"node"}};
constexpr package_function k_as_attr{"the cast to xmldom.attr", {"node"}};
constexpr package_function k_as_text_node{"the cast to xmldom.text_node", {"node"}};

} // namespace

// Argument: a text that ends in a zero byte.
PKG_DBE_XML_FUNCTION(xmldom_handle_in) {
    const std::string_view text(reinterpret_cast<const char *>(call.value(0)));
    DomKey key;
    if (!read_key(text, key)) {
        report_no_handle(text);
    }
    return get_datum_by_dom_key(key);
}

// Result: a text that ends in a zero byte. A value that came from raw may have any length.
PKG_DBE_XML_FUNCTION(xmldom_handle_out) {
    const auto bytes = host::payload(host::pg_detoast_datum(call.value(0)));
    auto *const text =
        static_cast<char *>(host::allocate_result(k_prefix.size() + 2 * bytes.size() + 1));
    char *const next = std::copy(k_prefix.begin(), k_prefix.end(), text);
    *write_hexadecimal(bytes, k_lower_digits, next) = '\0';
    return host::from_pointer(text);
}

PKG_DBE_XML_FUNCTION(xmldom_as_document) { return cast_to(call, k_as_document, k_document); }

PKG_DBE_XML_FUNCTION(xmldom_as_element) { return cast_to(call, k_as_element, k_element); }

PKG_DBE_XML_FUNCTION(xmldom_as_attr) { return cast_to(call, k_as_attr, k_attribute); }

PKG_DBE_XML_FUNCTION(xmldom_as_text_node) { return cast_to(call, k_as_text_node, k_text); }

} // namespace pkg_dbe_xml
