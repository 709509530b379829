// The work of a parse: what libxml2 does beyond going through the text once.
//
// Time is kept like memory. libxml2 compares each attribute of an element with each, looks names up
// in tables that stop growing, goes through all that is declared for a type for every element of
// it. Whatever is so multiplied is charged for in steps, of which a slow machine does one in a
// nanosecond, and a parse has so many of them for itself and so many for each byte of its text.
// Where a table can be kept from becoming slow it is, so that honest documents of any size are
// parsed.
//
// Each cost below is the worst that was measured with libxml2 2.9.14, rounded up.
#pragma once

#include "libxml/xml_parse_run.hpp"

namespace host {

// What a type of elements costs for each element of it; kept for types that have declarations.
struct type_weight {
    std::int32_t attributes;   // declared
    std::int32_t defaults;     // of them, those with a value
    std::int32_t required;     // those that must be there
    std::int32_t values;       // names in the lists of values of all of them
    std::int32_t longest_list; // in one of these lists
    std::int32_t mixed_names;  // names in a model that is searched for each child
    std::int32_t particles;    // of a model that is compiled when it is first needed
    std::int32_t alternatives; // of them, those between which a choice is made
};

// Adds steps to those done; ends the parse instead when they would be too many. `context` as for
// must_stop.
void work(parse_run &run, xmlParserCtxtPtr context, std::int64_t steps) noexcept;

// The weight of a type by its qualified name, made when it is missing; null when memory ran out.
[[nodiscard]] type_weight *weight_of_declared(parse_run &run, const xmlChar *type) noexcept;
// Frees the weights.
void forget_weights(parse_run &run) noexcept;

// Before libxml2 checks the declaration of an attribute whose element has `declared` others.
void work_for_attribute_declaration(parse_run &run, xmlParserCtxtPtr context, type_weight &weight,
                                    int type, int default_kind, bool has_value,
                                    const xmlEnumeration *values) noexcept;
// Before libxml2 checks the declaration of a type. `particles` and `alternatives` of its model.
void work_for_element_declaration(parse_run &run, xmlParserCtxtPtr context, const xmlChar *name,
                                  int type, const xmlElementContent *model, int particles,
                                  int alternatives) noexcept;

// A start tag as libxml2 reports it.
struct start_tag {
    const xmlChar *name;
    const xmlChar *prefix;
    const xmlChar *uri;
    int namespaces; // declared there
    int attributes; // defaults included
    const xmlChar **list;
};
// Before libxml2 builds the element; it has compared the attributes by then.
void work_for_element(parse_run &run, xmlParserCtxtPtr context, const start_tag &tag) noexcept;
// Before libxml2 goes through `bytes` more of the text.
void work_for_text(parse_run &run, xmlParserCtxtPtr context, std::int64_t bytes) noexcept;
// libxml2 made the words of an error or a warning.
void work_for_error(parse_run &run) noexcept;

// Keeps the tables of a document that grows from becoming slow.
void widen_tables(parse_run &run, xmlParserCtxtPtr context) noexcept;

// At the end of a document that is validated: checks what its attributes refer to, as libxml2 does
// at that place, but in small portions with a look at whether the statement was asked to stop.
void check_references(parse_run &run, xmlParserCtxtPtr context) noexcept;

} // namespace host
