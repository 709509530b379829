"""A connection to a PostgreSQL server, over libpq, which psql brings along."""
import ctypes
import ctypes.util

_library = ctypes.CDLL(ctypes.util.find_library("pq") or "libpq.so.5")


def _declare(name, result, *arguments):
    function = getattr(_library, name)
    function.restype, function.argtypes = result, list(arguments)
    return function


_pointer, _text, _int = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
_connect = _declare("PQconnectdb", _pointer, _text)
_status = _declare("PQstatus", _int, _pointer)
_connection_error = _declare("PQerrorMessage", _text, _pointer)
_finish = _declare("PQfinish", None, _pointer)
_process = _declare("PQbackendPID", _int, _pointer)
_execute = _declare("PQexec", _pointer, _pointer, _text)
_result_status = _declare("PQresultStatus", _int, _pointer)
_error_field = _declare("PQresultErrorField", _text, _pointer, _int)
_error_message = _declare("PQresultErrorMessage", _text, _pointer)
_rows = _declare("PQntuples", _int, _pointer)
_value = _declare("PQgetvalue", _text, _pointer, _int, _int)
_is_null = _declare("PQgetisnull", _int, _pointer, _int, _int)
_clear = _declare("PQclear", None, _pointer)

# Notices are for people.
_notice_function = ctypes.CFUNCTYPE(None, _pointer, _text)
_ignore_notices = _notice_function(lambda context, notice: None)
_set_notices = _declare("PQsetNoticeProcessor", _pointer, _pointer, _notice_function, _pointer)

_SQLSTATE, _MESSAGE = ord("C"), ord("M")
_ROWS, _FIRST_ERROR = 2, 5


class Failure(Exception):
    """What a statement failed with; sqlstate is "" where the server did not tell."""

    def __init__(self, sqlstate, message):
        super().__init__(f"{sqlstate} {message}")
        self.sqlstate, self.message = sqlstate, message


def _decoded(text):
    return (text or b"").decode("utf-8", errors="replace")


class Connection:
    """Closed by `close`; the settings come from PGHOST, PGPORT, ... and `settings`."""

    def __init__(self, settings=""):
        self.handle = _connect(settings.encode())
        if _status(self.handle) != 0:
            words = _decoded(_connection_error(self.handle))
            self.close()
            raise Failure("", words)
        _set_notices(self.handle, _ignore_notices, None)
        self.process = _process(self.handle)

    def alive(self):
        return self.handle is not None and _status(self.handle) == 0

    def close(self):
        if self.handle is not None:
            _finish(self.handle)
        self.handle = None

    def ask(self, statement):
        """The first column of the last row as text: None for null, "" without rows. Raises Failure."""
        result = _execute(self.handle, statement.encode())
        try:
            status = _result_status(result)
            if status == _ROWS:
                row = _rows(result) - 1
                if row < 0:
                    return ""
                return None if _is_null(result, row, 0) else _decoded(_value(result, row, 0))
            if status >= _FIRST_ERROR:
                message = _error_field(result, _MESSAGE) or _error_message(result)
                raise Failure(_decoded(_error_field(result, _SQLSTATE)), _decoded(message))
            return ""
        finally:
            _clear(result)
