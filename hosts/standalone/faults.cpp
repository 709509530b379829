// Fault injection: counters in the session's record.
#include "standalone_faults.hpp"

#include "libxml/xml_service.hpp"
#include "session_record.hpp"

namespace host::standalone {
namespace {

fault_plan &plan_of(service which) noexcept {
    return current_session().plans[static_cast<int>(which)];
}

// Asked by the gate in front of libxml2, for as long as there is a plan for it.
bool libxml2_fault_due(std::size_t /*size*/) noexcept {
    return fault_due(service::libxml2_allocation);
}

} // namespace

void fail_call(service which, std::int64_t at, std::int64_t repeat) noexcept {
    plan_of(which) = {0, at, repeat, 0};
    if (which == service::libxml2_allocation) {
        set_allocation_fault(libxml2_fault_due);
    }
}

fault_pause::fault_pause() noexcept { ++current_session().fault_pauses; }

fault_pause::~fault_pause() { --current_session().fault_pauses; }

void clear_faults() noexcept {
    for (fault_plan &plan : current_session().plans) {
        plan = {};
    }
    set_allocation_fault(nullptr);
}

std::int64_t calls_of(service which) noexcept { return plan_of(which).calls; }

std::int64_t faults_of(service which) noexcept { return plan_of(which).injected; }

bool fault_due(service which) noexcept {
    if (t_session == nullptr || t_session->fault_pauses != 0) {
        return false;
    }
    fault_plan &plan = t_session->plans[static_cast<int>(which)];
    ++plan.calls;
    if (plan.first == 0 || plan.calls < plan.first || plan.calls - plan.first >= plan.repeat)
        [[likely]] {
        return false;
    }
    ++plan.injected;
    return true;
}

void fault_point(service which) {
    if (fault_due(which)) {
        raise_host_error("58030", "injected failure");
    }
}

} // namespace host::standalone
