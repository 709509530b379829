// What is known of the life of a document.
#pragma once

#include "registry.hpp"

#include <cstdint>

namespace pkg_dbe_xml {

struct document_life {
    std::int64_t made_at; // milliseconds since 1970, UTC
    bool ends_with_transaction;
};
// Of the document id that an entry stands under.
[[nodiscard]] document_life life_of(const XMLHashEntry &entry) noexcept;

} // namespace pkg_dbe_xml
