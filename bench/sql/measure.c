/*
 * Runs a statement and gives the seconds of processor time it took. Other processes on the machine
 * do not count, and a profiler that collects within bench_measured sees the statement alone.
 */
#include "postgres.h"

#include "executor/spi.h"
#include "fmgr.h"
#include "utils/builtins.h"

#include <time.h>

PG_MODULE_MAGIC;

static double processor_seconds(void) {
    struct timespec now;

    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

PG_FUNCTION_INFO_V1(bench_measured);
__attribute__((visibility("default"))) Datum bench_measured(PG_FUNCTION_ARGS) {
    const char *statement = text_to_cstring(PG_GETARG_TEXT_PP(0));
    double begun = processor_seconds();

    SPI_connect();
    if (SPI_execute(statement, false, 0) < 0)
        elog(ERROR, "the statement failed: %s", statement);
    SPI_finish();
    PG_RETURN_FLOAT8(processor_seconds() - begun);
}
