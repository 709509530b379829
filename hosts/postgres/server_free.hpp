// Put in front of every source that knows no server: should a header of the server leak into it,
// the build ends at the first of these names.
#pragma once

#pragma GCC poison ereport elog palloc palloc0 PG_TRY PG_RE_THROW PG_FUNCTION_INFO_V1
#pragma GCC poison PG_exception_stack CurrentMemoryContext InterruptPending
