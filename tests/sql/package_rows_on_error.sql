-- Nulls for values that do not convert, on servers that can make them.
SELECT t.* FROM xmldom.rows_of_text('<a><b>1</b><b>one</b><b/></a>', '/a/b', ARRAY['.', '.'], on_error => 'error')
    AS t(c text, d varchar);
SELECT t.* FROM xmldom.rows_of_text('<a><b>1</b><b>one</b><b/></a>', '/a/b', ARRAY['.', '.', '..//b', '.'], on_error => 'null')
    AS t(number int, name text, numbers int[], day date);
CREATE DOMAIN positive_or_none AS int CHECK (VALUE > 0);
SELECT t.* FROM xmldom.rows_of_text('<a><b>1</b><b>-1</b><b>x</b></a>', '/a/b', ARRAY['.', 'self::*[. = 1]'], on_error => 'null')
    AS t(number positive_or_none, missing positive_or_none);
