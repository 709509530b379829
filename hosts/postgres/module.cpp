// What the server looks for when it loads the library.
#include "module.hpp"

#include "settings.hpp"

#include "server.hpp"

extern "C" {
PG_MODULE_MAGIC;
PGDLLEXPORT void _PG_init(void);
}

void _PG_init(void) {
    host::prepare_settings();
    host::watch_utility_statements();
}
