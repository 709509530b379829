// Reading a node, stepping to the next, attributes.
#include "support.hpp"

namespace bench {

namespace {

using node_of_session = host::datum session::*;

// A function that takes a handle and gives a number or a truth value.
template <class Read>
void enter_flag(const char *name, host::standalone::function_entry entry, node_of_session handle,
                Read read) {
    pair(
        {"reading", name},
        [=](session &s) {
            return [&s, entry, handle] { benchmark::DoNotOptimize(s.call(entry, {s.*handle})); };
        },
        [=](bare &b) { return [&b, read] { benchmark::DoNotOptimize(read(b)); }; });
}
// One that gives a text.
template <class Read>
void enter_text(const char *name, host::standalone::function_entry entry, node_of_session handle,
                Read read) {
    pair(
        {"reading", name},
        [=](session &s) { return [&s, entry, handle] { s.drop(s.call(entry, {s.*handle})); }; },
        [=](bare &b) { return [&b, read] { bare::drop(read(b)); }; });
}

// A step to another node, whose handle is released again.
template <class Step>
void enter_step(const char *family, const char *name, host::standalone::function_entry entry,
                node_of_session from, Step step) {
    pair(
        {family, name, 2},
        [=](session &s) { return [&s, entry, from] { s.release(s.call(entry, {s.*from})); }; },
        [=](bare &b) { return [&b, step] { benchmark::DoNotOptimize(step(b)); }; });
}

} // namespace

void enter_reading() {
    enter_flag("is_null", xml_dom_is_null, &session::order,
               [](const bare &b) { return b.order == nullptr; });
    enter_flag("get_node_type", xml_dom_get_node_type, &session::order,
               [](const bare &b) { return b.order->type; });
    enter_flag("has_child_nodes", xml_dom_has_child_nodes, &session::order,
               [](const bare &b) { return b.order->children != nullptr; });
    enter_text("get_node_name", xml_dom_get_node_name, &session::order,
               [](const bare &b) { return xmlStrdup(b.order->name); });
    enter_text("get_tagname", xml_dom_get_tagname, &session::order,
               [](const bare &b) { return xmlStrdup(b.order->name); });
    enter_text("get_localname", xml_dom_get_localname, &session::order,
               [](const bare &b) { return xmlStrdup(b.order->name); });
    enter_text("get_node_value of a text", xml_dom_get_node_value, &session::customer_text,
               [](const bare &b) { return xmlNodeGetContent(b.customer_text); });
    enter_text(
        "get_node_value of an attribute", xml_dom_get_node_value, &session::id,
        [](const bare &b) { return xmlNodeGetContent(reinterpret_cast<const xmlNode *>(b.id)); });
}

void enter_navigation() {
    enter_step("navigation", "get_document_element, free", xml_dom_get_document_element,
               &session::document, [](bare &b) { return xmlDocGetRootElement(b.document); });
    enter_step("navigation", "get_first_child, free", xml_dom_get_first_child, &session::order,
               [](bare &b) { return b.order->children; });
    enter_step("navigation", "get_last_child, free", xml_dom_get_last_child, &session::order,
               [](bare &b) { return b.order->last; });
    enter_step("navigation", "get_next_sibling, free", xml_dom_get_next_sibling, &session::customer,
               [](bare &b) { return b.customer->next; });
    enter_step("navigation", "get_parent_node, free", xml_dom_get_parent_node, &session::customer,
               [](bare &b) { return b.customer->parent; });
    enter_step("navigation", "makenode, free", xml_dom_makenode, &session::order,
               [](bare &b) { return b.order; });
    enter_step("navigation", "make_element, free", xml_dom_make_element, &session::order_node,
               [](bare &b) { return b.order; });
    alone({"navigation", "make_attr, free", 2}, [](session &s) {
        return [&s, node = s.call(xml_dom_makenode, {s.id})] {
            s.release(s.call(xml_dom_make_attr, {node}));
        };
    });
}

void enter_attributes() {
    pair(
        {"attributes", "get_attribute"},
        [](session &s) {
            return [&s, name = s.text("id")] {
                s.drop(s.call(xml_dom_get_attribute, {s.order, name}));
            };
        },
        [](bare &b) { return [&b] { bare::drop(xmlGetProp(b.order, bytes("id"))); }; });
    pair(
        {"attributes", "get_attribute_ns"},
        [](session &s) {
            return [&s, name = s.text("state"), uri = s.text(k_namespace)] {
                s.drop(s.call(xml_dom_get_attribute_ns, {s.order, name, uri}));
            };
        },
        [](bare &b) {
            return [&b] { bare::drop(xmlGetNsProp(b.order, bytes("state"), bytes(k_namespace))); };
        });
    pair(
        {"attributes", "get_attribute_node, free", 2},
        [](session &s) {
            return [&s, name = s.text("id")] {
                s.release(s.call(xml_dom_get_attribute_node, {s.order, name}));
            };
        },
        [](bare &b) {
            return [&b] { benchmark::DoNotOptimize(xmlHasProp(b.order, bytes("id"))); };
        });
    pair(
        {"attributes", "get_attribute_node in a namespace, free", 2},
        [](session &s) {
            return [&s, name = s.text("state"), uri = s.text(k_namespace)] {
                s.release(s.call(xml_dom_get_attribute_node, {s.order, name, uri}));
            };
        },
        [](bare &b) {
            return [&b] {
                benchmark::DoNotOptimize(xmlHasNsProp(b.order, bytes("state"), bytes(k_namespace)));
            };
        });
    enter_step("attributes", "get_attributes, free", xml_dom_get_attributes, &session::order_node,
               [](bare &b) { return b.order->properties; });
}

} // namespace bench
