// Lists, maps and searches.
#include "support.hpp"

#include <vector>

namespace bench {

namespace {

using node_vector = std::vector<xmlNodePtr>;

// The elements of that name below `top`, found without recursion.
node_vector elements_below(xmlNodePtr top, const xmlChar *name, const xmlChar *uri) {
    node_vector found;
    xmlNodePtr node = top->children;
    while (node != nullptr) {
        if (node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, name) != 0 &&
            (uri == nullptr || (node->ns != nullptr && xmlStrEqual(node->ns->href, uri) != 0))) {
            found.push_back(node);
        }
        if (node->children != nullptr) {
            node = node->children;
            continue;
        }
        while (node != top && node->next == nullptr) {
            node = node->parent;
        }
        node = node == top ? nullptr : node->next;
    }
    return found;
}

node_vector children_of(xmlNodePtr parent, const xmlChar *name, const xmlChar *uri) {
    node_vector found;
    for (xmlNodePtr child = parent->children; child != nullptr; child = child->next) {
        if (name == nullptr ||
            (child->type == XML_ELEMENT_NODE && xmlStrEqual(child->name, name) != 0 &&
             (uri == nullptr ||
              (child->ns != nullptr && xmlStrEqual(child->ns->href, uri) != 0)))) {
            found.push_back(child);
        }
    }
    return found;
}

void look_at(const node_vector &found) { benchmark::DoNotOptimize(found.data()); }

// A list that is made and given up; `name` and `uri` may be null.
template <class Find>
void enter_list(const description &what, host::standalone::function_entry entry,
                host::datum session::*from, const char *name, const char *uri, Find find) {
    pair(
        what,
        [=](session &s) {
            const host::datum top = s.*from;
            const host::datum tag = name == nullptr ? 0 : s.text(name);
            const host::datum space = uri == nullptr ? 0 : s.text(uri);
            return [&s, entry, top, tag, space] {
                if (space != 0) {
                    s.release_list(s.call(entry, {top, tag, space}));
                } else if (tag != 0) {
                    s.release_list(s.call(entry, {top, tag}));
                } else {
                    s.release_list(s.call(entry, {top}));
                }
            };
        },
        [=](bare &b) { return [&b, find] { look_at(find(b)); }; });
}

void enter_items() {
    pair(
        {"lists", "get_length of 1,001", 1, 1001},
        [](session &s) {
            return [&s, list = s.call(xml_dom_get_child_nodes, {s.root})] {
                benchmark::DoNotOptimize(s.call(xml_dom_get_length, {list}));
            };
        },
        [](bare &b) {
            return [found = children_of(b.root, nullptr, nullptr)] {
                benchmark::DoNotOptimize(found.size());
            };
        });
    pair(
        {"lists", "item, free: from 0 to 1,000", 2002, 1001},
        [](session &s) {
            return [&s, list = s.call(xml_dom_get_child_nodes, {s.root})] {
                for (int index = 0; index < 1001; ++index) {
                    s.release(s.call(xml_dom_item, {list, host::from_int4(index)}));
                }
            };
        },
        [](bare &b) {
            return [found = children_of(b.root, nullptr, nullptr)] {
                for (std::size_t index = 0; index < 1001; ++index) {
                    benchmark::DoNotOptimize(found[index]);
                }
            };
        });
    pair(
        {"lists", "item, free: 1,001 here and there", 2002, 1001},
        [](session &s) {
            return [&s, list = s.call(xml_dom_get_child_nodes, {s.root})] {
                for (int step = 0; step < 1001; ++step) {
                    s.release(s.call(xml_dom_item, {list, host::from_int4(step * 387 % 1001)}));
                }
            };
        },
        [](bare &b) {
            return [found = children_of(b.root, nullptr, nullptr)] {
                for (std::size_t step = 0; step < 1001; ++step) {
                    benchmark::DoNotOptimize(found[step * 387 % 1001]);
                }
            };
        });
}

void enter_maps() {
    pair(
        {"maps", "get_length"},
        [](session &s) {
            return [&s, map = s.call(xml_dom_get_attributes, {s.order_node})] {
                benchmark::DoNotOptimize(s.call(xml_dom_get_length, {map}));
            };
        },
        [](bare &b) {
            return [&b] {
                int count = 0;
                for (xmlAttrPtr member = b.order->properties; member != nullptr;
                     member = member->next) {
                    ++count;
                }
                benchmark::DoNotOptimize(count);
            };
        });
    pair(
        {"maps", "item, free", 2},
        [](session &s) {
            return [&s, map = s.call(xml_dom_get_attributes, {s.order_node})] {
                s.release(s.call(xml_dom_item, {map, host::from_int4(1)}));
            };
        },
        [](bare &b) { return [&b] { benchmark::DoNotOptimize(b.order->properties->next); }; });
    pair(
        {"maps", "get_named_item, free", 2},
        [](session &s) {
            return
                [&s, map = s.call(xml_dom_get_attributes, {s.order_node}), name = s.text("state")] {
                    s.release(s.call(xml_dom_get_named_item, {map, name}));
                };
        },
        [](bare &b) {
            return [&b] { benchmark::DoNotOptimize(xmlHasProp(b.order, bytes("state"))); };
        });
    pair(
        {"maps", "get_named_item_ns, free", 2},
        [](session &s) {
            return [&s, map = s.call(xml_dom_get_attributes, {s.order_node}),
                    name = s.text("state"), uri = s.text(k_namespace)] {
                s.release(s.call(xml_dom_get_named_item_ns, {map, name, uri}));
            };
        },
        [](bare &b) {
            return [&b] {
                benchmark::DoNotOptimize(xmlHasNsProp(b.order, bytes("state"), bytes(k_namespace)));
            };
        });
}

} // namespace

void enter_lists() {
    enter_list({"lists", "get_child_nodes of 6, free", 2}, xml_dom_get_child_nodes, &session::order,
               nullptr, nullptr,
               [](const bare &b) { return children_of(b.order, nullptr, nullptr); });
    enter_list({"lists", "get_child_nodes of 1,001, free", 2, 1001}, xml_dom_get_child_nodes,
               &session::root, nullptr, nullptr,
               [](const bare &b) { return children_of(b.root, nullptr, nullptr); });
    enter_items();
    enter_maps();
}

void enter_search() {
    enter_list({"search", "get_elements_by_tagname_document: 143 of 1,002, free", 2, k_medium},
               xml_dom_get_elements_by_tagname_document, &session::document, "price", nullptr,
               [](const bare &b) {
                   return elements_below(reinterpret_cast<xmlNodePtr>(b.document), bytes("price"),
                                         nullptr);
               });
    enter_list({"search", "get_elements_by_tagname_element: 143 of 1,002, free", 2, k_medium},
               xml_dom_get_elements_by_tagname_element, &session::root, "price", nullptr,
               [](const bare &b) { return elements_below(b.root, bytes("price"), nullptr); });
    enter_list(
        {"search", "get_elements_by_tagname_ns: 143 of 1,002, free", 2, k_medium},
        xml_dom_get_elements_by_tagname_ns, &session::root, "note", k_namespace,
        [](const bare &b) { return elements_below(b.root, bytes("note"), bytes(k_namespace)); });
    enter_list({"search", "get_elements_by_tagname_element: nothing of 1,002, free", 2, k_medium},
               xml_dom_get_elements_by_tagname_element, &session::root, "invoice", nullptr,
               [](const bare &b) { return elements_below(b.root, bytes("invoice"), nullptr); });
    enter_list({"search", "get_children_by_tagname: 1 of 6, free", 2},
               xml_dom_get_children_by_tagname, &session::order, "price", nullptr,
               [](const bare &b) { return children_of(b.order, bytes("price"), nullptr); });
    enter_list(
        {"search", "get_children_by_tagname_ns: 1 of 6, free", 2},
        xml_dom_get_children_by_tagname_ns, &session::order, "note", k_namespace,
        [](const bare &b) { return children_of(b.order, bytes("note"), bytes(k_namespace)); });
}

} // namespace bench
