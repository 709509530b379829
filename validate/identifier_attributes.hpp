// Which attributes XML Schemas declare as identifiers.
//
// libxml2 checks that identifiers differ only when it is given a tree to write them into. Trees of
// others are not for it to write into: it is told of them piece by piece, and is given a copy
// where two identifiers may be the same. Whether they may be is told by the names of attributes
// that the texts of a schema declare to be identifiers: rather too many than too few.
#pragma once

#include "compiled_schema.hpp"

#include <vector>

namespace pkg_dbe_xml::validation {

// A type or an attribute, and the local name of a type that it is made of.
struct derivation {
    std::string name;
    bool is_attribute;
    std::string base;
};

// Adds what the text of one schema says.
void note_derivations(const xmlNode *schema, std::vector<derivation> &derivations);
// What all of them say together.
void find_identifiers(const std::vector<derivation> &derivations, compiled_schema &result);

} // namespace pkg_dbe_xml::validation
