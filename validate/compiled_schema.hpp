// A schema as libxml2 has compiled it, with all that it includes and imports.
#pragma once

#include <libxml/relaxng.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#if !defined(LIBXML_SCHEMAS_ENABLED) || !defined(LIBXML_VALID_ENABLED)
#error "this libxml2 was built without schemas, or without validation"
#endif

namespace pkg_dbe_xml::validation {

struct schema_deleter {
    void operator()(xmlSchema *schema) const noexcept { xmlSchemaFree(schema); }
    void operator()(xmlRelaxNG *schema) const noexcept { xmlRelaxNGFree(schema); }
    void operator()(xmlDtd *dtd) const noexcept { xmlFreeDtd(dtd); }
};

struct compiled_schema {
    std::string location;
    // One of them.
    std::unique_ptr<xmlSchema, schema_deleter> xsd;
    std::unique_ptr<xmlRelaxNG, schema_deleter> relax_ng;
    std::unique_ptr<xmlDtd, schema_deleter> dtd;
    // Of XML Schema: local names of attributes that are identifiers somewhere, and whether there
    // are types that only a tree can be checked for.
    std::set<std::string, std::less<>> identifiers;
    bool needs_tree = false;
    std::int64_t bytes = 0; // of libxml2's memory
};

// Compiles the schema at a location. Reports schema_not_there, schema_reference_not_there,
// schema_unusable, schema_not_known, schema_not_xml and validation_over_budget.
[[nodiscard]] std::unique_ptr<compiled_schema> compile_schema(std::string_view location);

// Checks that a text can be a schema: that it is XML and its root element that of a schema. Those
// whose location is that of a document type definition, or of a part of one, are not looked at.
// Reports schema_not_xml and schema_not_known.
void check_schema_text(std::string_view location, std::string_view text);

// The compiled schema of a location, out of those that the session keeps where it is among them.
// Good until the next call. Reports as compile_schema.
[[nodiscard]] const compiled_schema &schema_at(std::string_view location);
// Forgets those that are kept.
void forget_schemas() noexcept;

} // namespace pkg_dbe_xml::validation
