// Sessions of the standalone host: one per thread.
#include "host/session.hpp"

#include "host/lifetime.hpp"
#include "host/limits.hpp"
#include "host/lob.hpp"
#include "host/usage.hpp"
#include "libxml/xml.hpp"
#include "libxml/xml_arena.hpp"
#include "session_record.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE session_state u_sess{};

namespace standalone {

constinit thread_local session *t_session = nullptr;

session &current_session() noexcept {
    if (t_session == nullptr) {
        misuse("no session was begun in this thread");
    }
    return *t_session;
}

void misuse(const char *what) noexcept {
    std::fprintf(stderr, "standalone host misused: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

void at_session_end(void (*callback)() noexcept) noexcept {
    session &own = current_session();
    for (int i = 0; i < own.end_callback_count; ++i) {
        if (own.end_callbacks[i] == callback) {
            return;
        }
    }
    if (own.end_callback_count == k_most_end_callbacks) {
        misuse("too many callbacks for the end of a session");
    }
    own.end_callbacks[own.end_callback_count++] = callback;
}

void begin_session(std::string_view database_encoding) {
    if (t_session != nullptr) {
        misuse("a second session in one thread");
    }
    auto own = std::make_unique<session>();
    own->piece_size = k_largest_piece;
    open_encoding(*own, database_encoding);
    t_session = own.release();
    create_session_contexts(*t_session);
    u_sess = {};
    lifetime_setting = static_cast<int>(lifetime::session);
    counts = {};
    gate = {};
    prepare_gate();
}

int reset_session() {
    if (current_session().depth != 0 || u_sess.clean_up == nullptr) {
        return 0;
    }
    return u_sess.clean_up();
}

session_remains end_session() {
    session &own = current_session();
    if (own.depth != 0) {
        misuse("a session ended from within a call");
    }
    clear_faults();
    forget_cancel();
    session_remains remains;
    remains.clean_up_result = reset_session();
    forget_abandoned();
    const memory_use use = memory_of(own.session_context);
    remains.host_blocks = use.blocks;
    remains.host_bytes = use.bytes;
    remains.host_contexts = use.contexts;
    remains.libxml2_bytes = gate.bytes_in_use;
    list_blocks(own.session_context, remains.block_list, 20);
    for (int i = own.end_callback_count; i-- > 0;) {
        own.end_callbacks[i]();
    }
    arena_give_rest_back(); // the thread may end
    delete_session_contexts(own);
    free_large_objects(own);
    close_encoding(own);
    u_sess = {};
    delete std::exchange(t_session, nullptr);
    return remains;
}

bool session_begun() noexcept { return t_session != nullptr; }

bool session_terminated() noexcept { return current_session().terminated; }

const report_fields &last_report() { return current_session().last; }

std::vector<warning_fields> &warnings() { return current_session().warnings; }

void set_piece_size(std::int64_t bytes) noexcept {
    current_session().piece_size = bytes == 0 ? k_largest_piece : bytes;
}

} // namespace standalone
} // namespace host
