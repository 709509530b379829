// The table xmlschema.schemas.
#pragma once

namespace pkg_dbe_xml::validation {

// Has the library told when the table changes; once per process. Raises when there is no place.
void watch_schema_table();

} // namespace pkg_dbe_xml::validation
