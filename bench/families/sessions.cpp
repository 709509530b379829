// Giving back, what the packages add, and looking at the session.
#include "support.hpp"

#define PACKAGE_ENTRY(name) extern "C" host::datum name(host::call_record *record)
PACKAGE_ENTRY(xmldom_set_attribute);
PACKAGE_ENTRY(xml_dom_get_attributes_of_node);
PACKAGE_ENTRY(xml_dom_first_node);
PACKAGE_ENTRY(xml_dom_first_attribute);
PACKAGE_ENTRY(xml_dom_next_attribute);
PACKAGE_ENTRY(xml_dom_next_element);
PACKAGE_ENTRY(xml_dom_outline);
PACKAGE_ENTRY(xml_dom_mark_scope);
PACKAGE_ENTRY(xml_dom_release_scope);
PACKAGE_ENTRY(xml_dom_free_all);
PACKAGE_ENTRY(xml_dom_get_memory_info);
#undef PACKAGE_ENTRY

namespace bench {

namespace {

void enter_freed_document(const char *name, bool handles_first) {
    pair(
        {"release", name, handles_first ? 2003 : 1003, 1},
        [=](session &s) {
            return [&s, handles_first] {
                const host::datum document = s.call(xml_dom_new_document_clob, {s.content_value});
                const host::datum root = s.call(xml_dom_get_document_element, {document});
                for (int count = 0; count < 1000; ++count) {
                    const host::datum child = s.call(xml_dom_get_first_child, {root});
                    if (handles_first) {
                        s.call(xml_dom_free_node, {child});
                    }
                    s.drop(child);
                }
                s.drop(root);
                s.release_document(document);
            };
        },
        [](bare &b) { return [&b] { xmlFreeDoc(bare::parsed(b.content)); }; });
}

// A step to a node whose handle is released again.
template <class Step>
void enter_step(const char *name, host::standalone::function_entry entry,
                host::datum session::*from, Step step) {
    pair(
        {"packages", name, 2},
        [=](session &s) { return [&s, entry, from] { s.release(s.call(entry, {s.*from})); }; },
        [=](bare &b) { return [&b, step] { benchmark::DoNotOptimize(step(b)); }; });
}

void enter_scopes() {
    pair(
        {"packages", "mark_scope, new_document_empty, release_scope", 3},
        [](session &s) {
            return [&s] {
                const host::datum scope = s.call(xml_dom_mark_scope, {});
                s.drop(s.call(xml_dom_new_document_empty, {}));
                s.call(xml_dom_release_scope, {scope});
                s.drop(scope);
            };
        },
        [](bare &) { return [] { xmlFreeDoc(xmlNewDoc(bytes("1.0"))); }; });
    pair(
        {"packages", "new_document_empty, free_all", 2},
        [](session &s) {
            s.release_document(s.document);
            return [&s] {
                s.drop(s.call(xml_dom_new_document_empty, {}));
                s.call(xml_dom_free_all, {});
            };
        },
        [](bare &) { return [] { xmlFreeDoc(xmlNewDoc(bytes("1.0"))); }; });
}

} // namespace

void enter_release() {
    pair(
        {"release", "make_element, free_element", 2},
        [](session &s) {
            return [&s] {
                const host::datum element = s.call(xml_dom_make_element, {s.order_node});
                s.call(xml_dom_free_element, {element});
                s.drop(element);
            };
        },
        [](bare &b) { return [&b] { benchmark::DoNotOptimize(b.order); }; });
    enter_freed_document("document with 1,000 handles, all freed with it", false);
    enter_freed_document("document with 1,000 handles, freed one by one", true);
}

void enter_packages() {
    enter_step("first_node, free", xml_dom_first_node, &session::order_node,
               [](bare &b) { return b.order->children; });
    enter_step("first_attribute, free", xml_dom_first_attribute, &session::order_node,
               [](bare &b) { return b.order->properties; });
    enter_step("next_attribute, free", xml_dom_next_attribute, &session::id,
               [](bare &b) { return b.id->next; });
    enter_step("get_attributes_of_node, free", xml_dom_get_attributes_of_node, &session::order,
               [](bare &b) { return b.order->properties; });
    pair(
        {"packages", "next_element, free", 2},
        [](session &s) {
            return [&s, name = s.text("*")] {
                s.release(s.call(xml_dom_next_element, {s.order_node, s.root, name}));
            };
        },
        [](bare &b) { return [&b] { benchmark::DoNotOptimize(b.order->children); }; });
    pair(
        {"packages", "set_attribute giving the handle"},
        [](session &s) {
            return [&s, name = s.text("id"), value = s.text("a new value")] {
                benchmark::DoNotOptimize(s.call(xmldom_set_attribute, {s.root, name, value}));
            };
        },
        [](bare &b) { return [&b] { xmlSetProp(b.root, bytes("id"), bytes("a new value")); }; });
    enter_scopes();
    alone({"packages", "outline: 10 kB"},
          [](session &s) { return [&s] { s.drop(s.call(xml_dom_outline, {s.document})); }; });
}

void enter_overviews() {
    alone({"overviews", "get_session_tree_num"}, [](session &s) {
        return [&s] { benchmark::DoNotOptimize(s.call(xml_dom_get_session_tree_num, {})); };
    });
    alone({"overviews", "get_doc_trees_info: 10 kB"},
          [](session &s) { return [&s] { s.drop(s.call(xml_dom_get_doc_trees_info, {})); }; });
    alone({"overviews", "get_detail_doc_tree_info: 10 kB"}, [](session &s) {
        return [&s] { s.drop(s.call(xml_dom_get_detail_doc_tree_info, {s.document})); };
    });
    alone({"overviews", "get_memory_info: 10 kB"},
          [](session &s) { return [&s] { s.drop(s.call(xml_dom_get_memory_info, {})); }; });
}

} // namespace bench
