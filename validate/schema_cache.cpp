// The compiled schemas that a session keeps.
#include "compiled_schema.hpp"
#include "host/session.hpp"
#include "schema_store.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace pkg_dbe_xml::validation {

namespace {

// Bounds of what is kept, so that a session that uses many schemas does not grow without end. The
// schema used last is kept whatever it takes.
constexpr std::size_t k_most_schemas = 16;
constexpr std::int64_t k_most_bytes = std::int64_t{64} << 20U;

using kept_schemas = std::vector<std::unique_ptr<compiled_schema>>;
// The one used last stands in front. Made when first needed; never destroyed but by forgetting.
constinit PKG_DBE_XML_SESSION_STORAGE kept_schemas *kept = nullptr;

void drop_surplus() {
    std::int64_t bytes = 0;
    std::size_t count = 0;
    while (count < kept->size() && count < k_most_schemas &&
           (count == 0 || bytes + (*kept)[count]->bytes <= k_most_bytes)) {
        bytes += (*kept)[count++]->bytes;
    }
    kept->erase(kept->begin() + static_cast<std::ptrdiff_t>(count), kept->end());
}

} // namespace

void forget_schemas() noexcept {
    delete kept;
    kept = nullptr;
}

const compiled_schema &schema_at(std::string_view location) {
    if (schemas_have_changed()) {
        forget_schemas();
    }
    if (kept == nullptr) {
        kept = new kept_schemas;
    }
    const auto found = std::ranges::find_if(
        *kept, [&](const auto &schema) { return schema->location == location; });
    if (found != kept->end()) {
        std::rotate(kept->begin(), found, found + 1);
        return *kept->front();
    }
    std::unique_ptr<compiled_schema> made = compile_schema(location);
    kept->insert(kept->begin(), std::move(made));
    drop_surplus();
    return *kept->front();
}

} // namespace pkg_dbe_xml::validation
