// Work of libxml2's that is never refused memory.
//
// The schema languages of libxml2 write beyond their blocks when an allocation fails, in 2.9 at
// least. So within this scope the gate counts and refuses nothing; when the machine itself has no
// more, a reserve that was set aside takes its place. Whoever does the work looks now and then
// whether it has to stop.
#pragma once

#include "library_services.hpp"
#include "libxml/xml.hpp"

namespace host {

class unrefused_scope {
  public:
    // Throws when the reserve cannot be had.
    explicit unrefused_scope(pkg_dbe_xml::unrefused_work &work);
    ~unrefused_scope();
    unrefused_scope(const unrefused_scope &) = delete;
    unrefused_scope &operator=(const unrefused_scope &) = delete;

  private:
    // Sets the reserve aside before anything else.
    struct reserve {
        reserve();
        ~reserve();
        reserve(const reserve &) = delete;
        reserve &operator=(const reserve &) = delete;
    };
    reserve reserve_;
    xml_scope scope_;
    pkg_dbe_xml::unrefused_work &work_;
};

// As library_services::may_go_on.
[[nodiscard]] bool unrefused_may_go_on(pkg_dbe_xml::unrefused_work &work,
                                       std::size_t bytes) noexcept;

} // namespace host
