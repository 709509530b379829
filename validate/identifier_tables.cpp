// libxml2's tables of identifiers. See identifier_tables.hpp.
#include "identifier_tables.hpp"

#include <libxml/hash.h>
#include <libxml/valid.h>

#include <algorithm>

// Later versions keep the table of references for validation alone.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml::validation {

// The tables stop growing, and chains of thousands are gone through for each more: they are made as
// wide as they may need to be, and without the document's dictionary, which would have to be
// searched for each value. A parse that found identifiers made a table itself; that one stays,
// since its attributes are not entered twice.
void make_tables(xmlDocPtr document, std::size_t attributes) noexcept {
    const int size =
        static_cast<int>(std::clamp<std::size_t>(attributes, 64, std::size_t{1} << 22U));
    if (document->ids == nullptr) {
        document->ids = xmlHashCreate(size);
    }
    if (document->refs == nullptr) {
        document->refs = xmlHashCreate(size);
    }
}

// Attributes that are in a table are each looked up there when they are freed one by one.
void drop_tables(xmlDocPtr document) noexcept {
    xmlFreeIDTable(static_cast<xmlIDTablePtr>(document->ids));
    xmlFreeRefTable(static_cast<xmlRefTablePtr>(document->refs));
    document->ids = document->refs = nullptr;
}

} // namespace pkg_dbe_xml::validation
