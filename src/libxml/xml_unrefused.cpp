// Work of libxml2's that is never refused memory. See xml_unrefused.hpp.
#include "libxml/xml_unrefused.hpp"

#include "host/error.hpp"
#include "host/limits.hpp"
#include "libxml/xml_service.hpp"

#include <algorithm>
#include <cstdlib>

namespace host {

namespace {

// What libxml2 may still need from the moment when the machine has no more until the work notices.
// Nobody touches it before, so that it is address space and no memory; but AddressSanitizer marks
// every byte of it.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t k_reserve = std::size_t{1} << 20U;
#elif defined(__has_feature)
constexpr std::size_t k_reserve = std::size_t{__has_feature(address_sanitizer) ? 1 : 32} << 20U;
#else
constexpr std::size_t k_reserve = std::size_t{32} << 20U;
#endif

} // namespace

unrefused_scope::reserve::reserve() {
    unrefused.reserve = std::malloc(k_reserve);
    if (unrefused.reserve == nullptr) {
        raise_out_of_memory(k_reserve);
    }
}

unrefused_scope::reserve::~reserve() {
    std::free(unrefused.reserve);
    unrefused.reserve = nullptr;
}

unrefused_scope::unrefused_scope(pkg_dbe_xml::unrefused_work &work) : work_(work) {
    work.start = gate.bytes_in_use;
    work.cancelled = work.budget_spent = work.session_full = work.starved = false;
    gate.budget_spent = false;
    gate.cancelled = false;
    gate.polls = false;
    gate.parsing = true;
    unrefused.in_force = true;
    gate.wall = INT64_MAX;
    gate.ceiling = std::min(work.start + work.budget, session_room());
    gate.countdown = 1;
    current_offer = work.open == nullptr ? nullptr : &work;
}

unrefused_scope::~unrefused_scope() {
    static_cast<void>(unrefused_may_go_on(work_, 0));
    work_.starved = work_.starved || unrefused.reserve == nullptr;
    current_offer = nullptr;
    unrefused.in_force = false;
    gate.parsing = false;
    gate.budget_spent = false;
    gate.ceiling = session_room();
}

bool unrefused_may_go_on(pkg_dbe_xml::unrefused_work &work, std::size_t bytes) noexcept {
    if (bytes != 0) {
        work.budget += parse_limits.budget_factor * static_cast<std::int64_t>(bytes);
        gate.ceiling = std::min(work.start + work.budget, session_room());
    }
    if (gate.bytes_in_use > gate.ceiling || gate.budget_spent) {
        work.budget_spent = true;
        work.session_full = work.session_full || gate.session_full;
    }
    work.cancelled = work.cancelled || (work.polls && interrupts_pending());
    work.starved = work.starved || unrefused.reserve == nullptr;
    return !work.was_stopped();
}

} // namespace host
