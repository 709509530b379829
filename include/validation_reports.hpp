// The reports of validation against schemas, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- validation ---
// SQLSTATE XV and a number of our own.
inline constexpr report_row schema_not_there{0, "XV001", "there is no schema \"%s\"",
    "The table xmlschema.schemas has no such location.",
    "Check the location, or have an administrator add the schema with xmlschema.add_schemas.",
    nullptr, false};
inline constexpr report_row schema_unusable{0, "XV002", "the schema \"%s\" cannot be used: %s",
    "libxml2 does not accept it, or one of those that it refers to.",
    "Mend the schema, and add it again with xmlschema.add_schemas.", nullptr, false};
inline constexpr report_row schema_reference_not_there{0, "XV002",
    "the schema \"%s\" needs \"%s\", which is not there",
    "What a schema includes, imports or redefines is looked for in the table xmlschema.schemas "
    "and nowhere else.",
    "Add it with xmlschema.add_schemas, under this location.", nullptr, false};
inline constexpr report_row schema_not_known{0, "XV002",
    "the schema \"%s\" is neither XML Schema nor Relax NG: its root element is %s",
    "The language of a schema is told by its root element, and a document type definition by the "
    "end of its location, .dtd.",
    "Check the text of the schema.", nullptr, false};
inline constexpr report_row schema_not_xml{0, "2200M", "the schema \"%s\" is no XML document: line %s: %s",
    "Schemas are XML documents, but for document type definitions, whose locations end with .dtd, "
    ".mod or .ent.",
    "Correct the text.", nullptr, false};
inline constexpr report_row schemas_shape{0, "22023", "schemas come as pairs of location and text",
    "The array does not have two columns.",
    "Write array[array['location', 'text'], array['location', 'text']].", nullptr, false};
inline constexpr report_row schemas_null{0, "22004", "a location or a text of a schema is null",
    "Locations and texts are texts.", "Leave the pair out.", nullptr, false};
inline constexpr report_row not_valid{0, "XV003", "the document is not valid by \"%s\": %s",
    "CONTEXT has the first complaints, each with its line, 0 where that is not known, and its path.",
    "Correct the document; xmlschema.validate gives all complaints as rows.", nullptr, false};
inline constexpr report_row entity_in_tree{0, "XV004",
    "the tree has a reference to the entity \"%s\", whose text is not part of it",
    "What the reference stands for is not checked.",
    "Replace the reference by its text, or parse the document again, which replaces them all.",
    nullptr, false};
inline constexpr report_row too_deep_to_validate{0, "54001",
    "the tree has more than %s levels, too many for this kind of schema",
    "Relax NG, document type definitions and identifiers are checked with a stack of the server's.",
    "Validate parts of the tree, or use XML Schema.",
    nullptr, false};
inline constexpr report_row value_too_long_to_validate{0, "54000",
    "the value of the attribute \"%s\" is too long to validate",
    "libxml2 counts the bytes of a value in 32 bits, and writes some characters as references.",
    "Validate a tree without the attribute.", nullptr, false};
inline constexpr report_row validation_over_budget{0, "54000",
    "validating takes more memory than the settings pkg_dbe_xml.parse_budget_base and "
    "pkg_dbe_xml.parse_budget_factor allow",
    "The schema makes much of the document, or of itself.",
    "Simplify the schema, or have an administrator raise the settings.", nullptr, false};
inline constexpr report_row validation_failed{0, "XX000", "libxml2 could not validate the document: %s",
    "An internal failure of libxml2's.", nullptr, nullptr, false};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
