// The record for extensions of the library, where the server keeps it for them.
#include "services.hpp"

#include "guard.hpp"
#include "library_services.hpp"

#include "server.hpp"

namespace host {

namespace {

constinit pkg_dbe_xml::library_services record{};
constinit pkg_dbe_xml::guest_clean_up clean_up_of_guest = nullptr;

} // namespace

void offer_services() {
    record = pkg_dbe_xml::own_services();
    record.run_guarded = run_guarded;
    record.clean_up = &clean_up_of_guest;
    *find_rendezvous_variable(pkg_dbe_xml::k_services_variable) = &record;
}

void clean_up_guest() noexcept {
    if (clean_up_of_guest != nullptr) {
        clean_up_of_guest();
    }
}

} // namespace host
