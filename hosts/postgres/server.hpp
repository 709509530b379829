// The server's headers, in the one way in which they may be included: after everything else, since
// their macros would change whatever follows.
#pragma once

// The C library's headers bring templates along in C++; they come in here, before extern "C".
#include <climits>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

extern "C" {
#include <postgres.h>

#include <access/detoast.h>
#include <catalog/namespace.h>
#include <common/hashfn.h>
#include <fmgr.h>
#include <mb/pg_wchar.h>
#include <miscadmin.h>
#include <nodes/parsenodes.h>
#include <nodes/pg_list.h>
#include <storage/ipc.h>
#include <tcop/utility.h>
#include <utils/elog.h>
#include <utils/guc.h>
#include <utils/hsearch.h>
#include <utils/memdebug.h>
#include <utils/memutils.h>
#if PG_VERSION_NUM >= 160000
#include <varatt.h>
#endif
}

#if PG_VERSION_NUM < 150000
#error "PostgreSQL 15 or newer is needed"
#endif

// What the server is to find in the library; its headers leave it hidden before version 16.
#undef PGDLLEXPORT
#define PGDLLEXPORT __attribute__((visibility("default")))

// ereport and elog call errfinish by its bare name, which within namespace host would be the
// library's: an exception instead of the server's error.
#define errfinish ::errfinish
