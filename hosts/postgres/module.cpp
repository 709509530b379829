// What the server looks for when it loads the library.
#include "module.hpp"

#include "services.hpp"
#include "settings.hpp"
#include "usage.hpp"

#include "server.hpp"

extern "C" {
PG_MODULE_MAGIC;
PGDLLEXPORT void _PG_init(void);
}

void _PG_init(void) {
    // The server loads the library anew at the next call when this fails.
    host::define_settings();
    host::offer_services();
    host::watch_utility_statements();
    if (process_shared_preload_libraries_in_progress) {
        host::ask_for_shared_memory();
    }
}
