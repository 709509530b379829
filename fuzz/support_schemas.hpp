// Random schemas, and random documents that are often valid by them: for the fuzzer of validation.
#pragma once

#include "support_queries.hpp"

#include <string>

namespace fuzz {

enum class schema_language : std::uint8_t { xsd, relax_ng, dtd };

// The text of a schema. It may refer to another one, at the location b.xsd, b.rng or b.mod, whose
// text `random_part` gives.
[[nodiscard]] std::string random_schema(choices &from, schema_language language);
[[nodiscard]] std::string random_part(choices &from, schema_language language);
// The text of a document.
[[nodiscard]] std::string random_instance(choices &from);

} // namespace fuzz
