// The 65 SQL functions: their exported entries, and a list of them with the numbers of arguments
// they take, for whoever has to go through all of them.
#pragma once

#include "host/call.hpp"

// X(name, fewest arguments, most arguments)
#define PKG_DBE_XML_FOR_EACH_FUNCTION(X)                                                           \
    X(xml_dom_new_document_empty, 0, 0)                                                            \
    X(xml_dom_new_document_clob, 1, 1)                                                             \
    X(xml_dom_new_document_xmltype, 1, 1)                                                          \
    X(xml_dom_free_document, 1, 1)                                                                 \
    X(xml_dom_create_element, 2, 2)                                                                \
    X(xml_dom_create_element_ns, 3, 3)                                                             \
    X(xml_dom_create_text_node, 2, 2)                                                              \
    X(xml_dom_create_attribute, 2, 2)                                                              \
    X(xml_dom_get_document_element, 1, 1)                                                          \
    X(xml_dom_set_charset, 2, 2)                                                                   \
    X(xml_dom_set_doctype, 4, 4)                                                                   \
    X(xml_dom_get_parent_node, 1, 1)                                                               \
    X(xml_dom_get_first_child, 1, 1)                                                               \
    X(xml_dom_get_last_child, 1, 1)                                                                \
    X(xml_dom_get_next_sibling, 1, 1)                                                              \
    X(xml_dom_get_child_nodes, 1, 1)                                                               \
    X(xml_dom_get_node_value, 1, 1)                                                                \
    X(xml_dom_get_node_name, 1, 1)                                                                 \
    X(xml_dom_get_node_type, 1, 1)                                                                 \
    X(xml_dom_get_attributes, 1, 1)                                                                \
    X(xml_dom_get_attribute_ns, 3, 3)                                                              \
    X(xml_dom_get_length, 1, 1)                                                                    \
    X(xml_dom_item, 2, 2)                                                                          \
    X(xml_dom_get_named_item, 2, 2)                                                                \
    X(xml_dom_get_named_item_ns, 3, 3)                                                             \
    X(xml_dom_get_session_tree_num, 0, 0)                                                          \
    X(xml_dom_get_doc_trees_info, 0, 0)                                                            \
    X(xml_dom_get_detail_doc_tree_info, 1, 1)                                                      \
    X(xml_dom_get_attribute, 2, 2)                                                                 \
    X(xml_dom_get_tagname, 1, 1)                                                                   \
    X(xml_dom_get_localname, 1, 1)                                                                 \
    X(xml_dom_get_attribute_node, 2, 3)                                                            \
    X(xml_dom_get_children_by_tagname, 2, 2)                                                       \
    X(xml_dom_get_children_by_tagname_ns, 3, 3)                                                    \
    X(xml_dom_get_elements_by_tagname_document, 2, 2)                                              \
    X(xml_dom_get_elements_by_tagname_element, 2, 2)                                               \
    X(xml_dom_get_elements_by_tagname_ns, 3, 3)                                                    \
    X(xml_dom_set_attribute, 3, 3)                                                                 \
    X(xml_dom_set_attribute_node, 2, 2)                                                            \
    X(xml_dom_set_attribute_ns, 4, 4)                                                              \
    X(xml_dom_remove_attribute_node, 2, 2)                                                         \
    X(xml_dom_make_attr, 1, 1)                                                                     \
    X(xml_dom_free_element, 1, 1)                                                                  \
    X(xml_dom_append_child, 2, 2)                                                                  \
    X(xml_dom_import_node, 2, 3)                                                                   \
    X(xml_dom_set_node_value, 2, 2)                                                                \
    X(xml_dom_free_node, 1, 1)                                                                     \
    X(xml_dom_free_nodelist, 1, 1)                                                                 \
    X(xml_dom_make_element, 1, 1)                                                                  \
    X(xml_dom_makenode, 1, 1)                                                                      \
    X(xml_dom_is_null, 1, 1)                                                                       \
    X(xml_dom_has_child_nodes, 1, 1)                                                               \
    X(xml_dom_write_to_buffer_doc, 1, 1)                                                           \
    X(xml_dom_write_to_clob_doc, 1, 1)                                                             \
    X(xml_dom_write_to_buffer_node, 1, 1)                                                          \
    X(xml_dom_write_to_clob_node, 1, 1)                                                            \
    X(xml_dom_write_to_file_doc, 2, 3)                                                             \
    X(xml_dom_write_to_file_node, 2, 3)                                                            \
    X(xmlparser_new_parser, 0, 0)                                                                  \
    X(xmlparser_free_parser, 1, 1)                                                                 \
    X(xmlparser_parse_clob, 2, 2)                                                                  \
    X(xmlparser_parse_buffer, 2, 2)                                                                \
    X(xmlparser_get_doc, 1, 1)                                                                     \
    X(xmlparser_set_validation_mode, 2, 2)                                                         \
    X(xmlparser_get_validation_mode, 1, 1)

#define PKG_DBE_XML_DECLARE(name, fewest, most) host::datum name(host::call_record *record);
extern "C" {
PKG_DBE_XML_FOR_EACH_FUNCTION(PKG_DBE_XML_DECLARE)
}
#undef PKG_DBE_XML_DECLARE
