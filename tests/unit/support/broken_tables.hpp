// A session's registry broken by hand: states that no sequence of calls brings about, and that the
// library reports nonetheless. Each is mended when the object goes, so that the session ends as
// clean as any other.
#pragma once

#include "registry.hpp"

#include <cstdint>

namespace sql {

// While one lives, the domKeys map does not know a libxml2 document that handles share.
class lost_document {
  public:
    explicit lost_document(void *document);
    ~lost_document();
    lost_document(const lost_document &) = delete;
    lost_document &operator=(const lost_document &) = delete;

  private:
    void *document_;
    void *shared_;
};

// Sets the counter from which serials and fresh document ids come, as after it has wrapped.
void set_serial_counter(std::uint32_t serial);

// The number of handles that the registry counts.
[[nodiscard]] std::size_t &handle_count();

// Where the registry remembers the entry that was made or found last for such a node id.
[[nodiscard]] pkg_dbe_xml::XMLHashEntry *&recent_entry(std::uint32_t node_id);

} // namespace sql
