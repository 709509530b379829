// Whether what the packages write of a document is read again as the same one.
#pragma once

#include "support/sql.hpp"

#include <span>
#include <string>

namespace fuzz {

// What is wrong with one of the documents, "" when nothing is: each is written, what was written is
// parsed and the same tree, and once more. A document without a root cannot be written; with
// `packages_only` any other can, else what cannot is reported with its node. Handles that name no
// document are passed over.
[[nodiscard]] std::string reading_back_fault(std::span<const sql::handle> documents,
                                             bool packages_only);

} // namespace fuzz
