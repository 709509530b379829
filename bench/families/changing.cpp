// New nodes, changes of a tree, copies.
#include "support.hpp"

namespace bench {

namespace {

// A new node that is given up at once: it stands nowhere, so it goes out of use.
template <class Make>
void enter_factory(const char *name, host::standalone::function_entry entry, const char *first,
                   const char *second, Make make) {
    pair(
        {"new nodes", name, 2},
        [=](session &s) {
            const host::datum one = s.text(first);
            const host::datum two = second == nullptr ? 0 : s.text(second);
            return [&s, entry, one, two] {
                s.release(two == 0 ? s.call(entry, {s.document, one})
                                   : s.call(entry, {s.document, one, two}));
            };
        },
        [=](bare &b) { return [&b, make] { make(b); }; });
}

void enter_attribute_nodes() {
    // Two attributes of one name take turns; the other one stands nowhere meanwhile.
    pair(
        {"changes", "set_attribute_node", 1},
        [](session &s) {
            const host::datum other = s.call(xml_dom_create_attribute, {s.document, s.text("id")});
            return [&s, in_turn = false, other]() mutable {
                in_turn = !in_turn;
                s.drop(s.call(xml_dom_set_attribute_node, {s.order, in_turn ? other : s.id}));
            };
        },
        [](bare &b) {
            xmlAttrPtr other = xmlNewDocProp(b.document, bytes("id"), nullptr);
            return [&b, one = b.id, other]() mutable {
                xmlUnlinkNode(reinterpret_cast<xmlNodePtr>(one));
                xmlAddChild(b.order, reinterpret_cast<xmlNodePtr>(other));
                std::swap(one, other);
            };
        });
    pair(
        {"changes", "get_attribute_node, remove_attribute_node, set_attribute, 2 free", 5},
        [](session &s) {
            const host::datum value = s.text("17");
            return [&s, name = s.text("id"), value] {
                const host::datum attribute = s.call(xml_dom_get_attribute_node, {s.order, name});
                s.release(s.call(xml_dom_remove_attribute_node, {s.order, attribute}));
                s.release(attribute);
                s.call(xml_dom_set_attribute, {s.order, name, value});
            };
        },
        [](bare &b) {
            return [&b] {
                xmlAttrPtr attribute = xmlHasProp(b.order, bytes("id"));
                xmlAttrPtr copy = xmlCopyProp(nullptr, attribute);
                xmlUnlinkNode(reinterpret_cast<xmlNodePtr>(attribute));
                xmlFreeProp(copy);
                xmlFreeProp(attribute);
                xmlNewProp(b.order, bytes("id"), bytes("17"));
            };
        });
}

void enter_attribute_values() {
    pair(
        {"changes", "set_attribute"},
        [](session &s) {
            return [&s, name = s.text("id"), value = s.text("a new value")] {
                s.call(xml_dom_set_attribute, {s.root, name, value});
            };
        },
        [](bare &b) { return [&b] { xmlSetProp(b.root, bytes("id"), bytes("a new value")); }; });
    pair(
        {"changes", "set_attribute_ns"},
        [](session &s) {
            return [&s, name = s.text("id"), value = s.text("a new value"),
                    uri = s.text(k_namespace)] {
                s.call(xml_dom_set_attribute_ns, {s.root, name, value, uri});
            };
        },
        [](bare &b) {
            return [&b, space = b.root->nsDef] {
                xmlSetNsProp(b.root, space, bytes("id"), bytes("a new value"));
            };
        });
    pair(
        {"changes", "set_node_value of a text"},
        [](session &s) {
            return [&s, value = s.text("A new customer")] {
                s.call(xml_dom_set_node_value, {s.customer_text, value});
            };
        },
        [](bare &b) {
            return [&b] { xmlNodeSetContent(b.customer_text, bytes("A new customer")); };
        });
    pair(
        {"changes", "set_node_value of an attribute"},
        [](session &s) {
            return [&s, value = s.text("a new value")] {
                s.call(xml_dom_set_node_value, {s.id, value});
            };
        },
        [](bare &b) { return [&b] { xmlSetProp(b.order, b.id->name, bytes("a new value")); }; });
}

void enter_append() {
    // The first order becomes the last, and so on around.
    pair(
        {"changes", "append_child of a child, free", 2},
        [](session &s) {
            const host::datum second =
                s.call(xml_dom_make_element, {s.call(xml_dom_get_next_sibling, {s.order_node})});
            return [&s, second, in_turn = false]() mutable {
                in_turn = !in_turn;
                s.release(s.call(xml_dom_append_child, {s.root, in_turn ? s.order : second}));
            };
        },
        [](bare &b) {
            return [&b, one = b.order, other = b.order->next]() mutable {
                xmlUnlinkNode(one);
                xmlAddChild(b.root, one);
                std::swap(one, other);
            };
        });
    pair(
        {"changes", "build 1,000 elements with text", 4002, 1},
        [](session &s) {
            return [&s, tag = s.text("item"), data = s.text("an article")] {
                const host::datum document = s.call(xml_dom_new_document_empty, {});
                const host::datum top = s.call(xml_dom_create_element, {document, tag});
                s.drop(s.call(xml_dom_append_child, {document, top}));
                for (int count = 0; count < 1000; ++count) {
                    const host::datum item = s.call(xml_dom_create_element, {document, tag});
                    const host::datum text = s.call(xml_dom_create_text_node, {document, data});
                    s.drop(s.call(xml_dom_append_child, {item, text}));
                    s.drop(s.call(xml_dom_append_child, {top, item}));
                    s.drop(text);
                    s.drop(item);
                }
                s.drop(top);
                s.release_document(document);
            };
        },
        [](bare &) {
            return [] {
                xmlDocPtr document = xmlNewDoc(bytes("1.0"));
                xmlNodePtr top = xmlNewDocNode(document, nullptr, bytes("item"), nullptr);
                xmlDocSetRootElement(document, top);
                for (int count = 0; count < 1000; ++count) {
                    xmlNodePtr item = xmlNewDocNode(document, nullptr, bytes("item"), nullptr);
                    xmlAddChild(item, xmlNewDocText(document, bytes("an article")));
                    xmlAddChild(top, item);
                }
                xmlFreeDoc(document);
            };
        });
}

void enter_import(const char *name, host::datum session::*from, xmlNodePtr bare::*node, bool deep,
                  int records) {
    pair(
        {"imports", name, 2, records},
        [=](session &s) {
            return [&s, from, deep] {
                s.release(
                    s.call(xml_dom_import_node, {s.document, s.*from, host::from_boolean(deep)}));
            };
        },
        [=](bare &b) {
            return [&b, node, deep] {
                // 2: the element with its attributes and namespaces, 1: all below, too.
                xmlFreeNode(xmlDocCopyNode(b.*node, b.document, deep ? 1 : 2));
            };
        });
}

} // namespace

void enter_new_nodes() {
    enter_factory("create_element, free", xml_dom_create_element, "item", nullptr, [](bare &b) {
        xmlFreeNode(xmlNewDocNode(b.document, nullptr, bytes("item"), nullptr));
    });
    enter_factory("create_element_ns, free", xml_dom_create_element_ns, "item", k_namespace,
                  [](bare &b) {
                      xmlNodePtr node = xmlNewDocNode(b.document, nullptr, bytes("item"), nullptr);
                      xmlSetNs(node, xmlNewNs(node, bytes(k_namespace), nullptr));
                      xmlFreeNode(node);
                  });
    enter_factory("create_text_node, free", xml_dom_create_text_node, "an article", nullptr,
                  [](bare &b) { xmlFreeNode(xmlNewDocText(b.document, bytes("an article"))); });
    enter_factory("create_attribute, free", xml_dom_create_attribute, "id", nullptr,
                  [](bare &b) { xmlFreeProp(xmlNewDocProp(b.document, bytes("id"), nullptr)); });
}

void enter_changes() {
    enter_append();
    enter_attribute_values();
    enter_attribute_nodes();
}

void enter_imports() {
    enter_import("import_node, shallow, free", &session::order, &bare::order, false, k_small);
    enter_import("import_node, deep: 7 elements, free", &session::order, &bare::order, true,
                 k_small);
    enter_import("import_node, deep: 1,002 elements, free", &session::root, &bare::root, true,
                 k_medium);
}

} // namespace bench
