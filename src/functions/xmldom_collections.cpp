// Members of lists and maps of the packages.

#include "functions/package_arguments.hpp"
#include "tree/attribute_names.hpp"
#include "tree/poll_counter.hpp"

#include <cstddef>
#include <limits>
#include <optional>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_get_length{"xmldom.get_length", {"list"}};
constexpr package_function k_item{"xmldom.item", {"list", "item_index"}};
constexpr package_function k_get_length_of_map{"xmldom.get_length", {"map"}};
constexpr package_function k_item_of_map{"xmldom.item", {"map", "item_index"}};
constexpr package_function k_get_named_item{"xmldom.get_named_item", {"map", "name"}};
constexpr package_function k_get_named_item_ns{"xmldom.get_named_item_ns",
                                               {"map", "name", "namespace_uri"}};

[[nodiscard]] host::datum number_result(std::size_t number) {
    constexpr auto k_largest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    return host::from_int4(static_cast<std::int32_t>(number < k_largest ? number : k_largest));
}

// The attribute that a map holds under a name.
[[nodiscard]] host::datum named_item(host::call &call, const package_function &function,
                                     bool by_namespace) {
    XMLHashEntry *const map = package_call(call, function).map(0);
    if (map == nullptr || call.is_null(1)) {
        return call.null();
    }
    const utf8_argument name(call.value(1));
    std::optional<utf8_argument> uri;
    if (by_namespace && !call.is_null(2)) {
        uri.emplace(call.value(2));
    }
    const attribute_name wanted = by_namespace
                                      ? attribute_name(name.xml(), uri ? uri->xml() : BAD_CAST "")
                                      : attribute_name(name.xml(), nullptr);
    xmlAttrPtr const found = wanted.find_from(reinterpret_cast<xmlAttrPtr>(first_of_map(*map)));
    return found == nullptr ? call.null() : own_handle(*map, as_node(found));
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_get_length) {
    const XMLHashEntry *const list = package_call(call, k_get_length).list(0);
    return list == nullptr ? call.null() : number_result(list_size(*list));
}

// Null beyond the end, and for a negative index.
PKG_DBE_XML_FUNCTION(xmldom_item) {
    XMLHashEntry *const list = package_call(call, k_item).list(0);
    if (list == nullptr || call.is_null(1) || call.int4(1) < 0) {
        return call.null();
    }
    xmlNodePtr const member = list_member(*list, static_cast<std::size_t>(call.int4(1)));
    return member == nullptr ? call.null() : own_handle(*list, member);
}

PKG_DBE_XML_FUNCTION(xmldom_get_length_of_map) {
    const XMLHashEntry *const map = package_call(call, k_get_length_of_map).map(0);
    if (map == nullptr) {
        return call.null();
    }
    constexpr std::size_t k_attributes_between_polls = 4096;
    std::size_t length = 0;
    for (const xmlNode *attribute = first_of_map(*map); attribute != nullptr;
         attribute = attribute->next) {
        if (++length % k_attributes_between_polls == 0) [[unlikely]] {
            host::check_for_interrupts();
        }
    }
    return number_result(length);
}

// The attribute itself; null beyond the end.
PKG_DBE_XML_FUNCTION(xmldom_item_of_map) {
    const XMLHashEntry *const map = package_call(call, k_item_of_map).map(0);
    if (map == nullptr || call.is_null(1) || call.int4(1) < 0) {
        return call.null();
    }
    poll_counter poll;
    xmlNodePtr attribute = first_of_map(*map);
    for (std::int32_t place = call.int4(1); attribute != nullptr && place > 0; --place) {
        attribute = attribute->next;
        poll.step();
    }
    return attribute == nullptr ? call.null() : own_handle(*map, attribute);
}

PKG_DBE_XML_FUNCTION(xmldom_get_named_item) { return named_item(call, k_get_named_item, false); }

PKG_DBE_XML_FUNCTION(xmldom_get_named_item_ns) {
    return named_item(call, k_get_named_item_ns, true);
}

} // namespace pkg_dbe_xml
