-- Type raw: a string of bytes, shown as bytea is. Handles are values of it.

CREATE TYPE raw;

CREATE FUNCTION raw_in(cstring) RETURNS raw
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_out(raw) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_recv(internal) RETURNS raw
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_send(raw) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;

CREATE TYPE raw (
    INPUT = raw_in,
    OUTPUT = raw_out,
    RECEIVE = raw_recv,
    SEND = raw_send,
    INTERNALLENGTH = VARIABLE,
    ALIGNMENT = int4,
    STORAGE = extended
);
COMMENT ON TYPE raw IS 'string of bytes; names documents, nodes and parsers of the session';

CREATE CAST (raw AS bytea) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (bytea AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
COMMENT ON CAST (raw AS bytea) IS 'the same bytes';
COMMENT ON CAST (bytea AS raw) IS 'the same bytes';

-- Comparison, byte by byte.

CREATE FUNCTION raw_eq(raw, raw) RETURNS boolean
    AS 'byteaeq' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_ne(raw, raw) RETURNS boolean
    AS 'byteane' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_lt(raw, raw) RETURNS boolean
    AS 'bytealt' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_le(raw, raw) RETURNS boolean
    AS 'byteale' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_gt(raw, raw) RETURNS boolean
    AS 'byteagt' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_ge(raw, raw) RETURNS boolean
    AS 'byteage' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_cmp(raw, raw) RETURNS integer
    AS 'byteacmp' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_sortsupport(internal) RETURNS void
    AS 'bytea_sortsupport' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_hash(raw) RETURNS integer
    AS 'hashvarlena' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_hash_extended(raw, bigint) RETURNS bigint
    AS 'hashvarlenaextended' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;

CREATE OPERATOR = (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_eq,
    COMMUTATOR = =, NEGATOR = <>, RESTRICT = eqsel, JOIN = eqjoinsel, HASHES, MERGES
);
CREATE OPERATOR <> (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_ne,
    COMMUTATOR = <>, NEGATOR = =, RESTRICT = neqsel, JOIN = neqjoinsel
);
CREATE OPERATOR < (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_lt,
    COMMUTATOR = >, NEGATOR = >=, RESTRICT = scalarltsel, JOIN = scalarltjoinsel
);
CREATE OPERATOR <= (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_le,
    COMMUTATOR = >=, NEGATOR = >, RESTRICT = scalarlesel, JOIN = scalarlejoinsel
);
CREATE OPERATOR > (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_gt,
    COMMUTATOR = <, NEGATOR = <=, RESTRICT = scalargtsel, JOIN = scalargtjoinsel
);
CREATE OPERATOR >= (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_ge,
    COMMUTATOR = <=, NEGATOR = <, RESTRICT = scalargesel, JOIN = scalargejoinsel
);

CREATE OPERATOR CLASS raw_ops DEFAULT FOR TYPE raw USING btree AS
    OPERATOR 1 <, OPERATOR 2 <=, OPERATOR 3 =, OPERATOR 4 >=, OPERATOR 5 >,
    FUNCTION 1 raw_cmp(raw, raw),
    FUNCTION 2 raw_sortsupport(internal);
CREATE OPERATOR CLASS raw_ops DEFAULT FOR TYPE raw USING hash AS
    OPERATOR 1 =,
    FUNCTION 1 raw_hash(raw),
    FUNCTION 2 raw_hash_extended(raw, bigint);
COMMENT ON OPERATOR CLASS raw_ops USING btree IS 'order byte by byte';
COMMENT ON OPERATOR FAMILY raw_ops USING btree IS 'order byte by byte';
COMMENT ON OPERATOR CLASS raw_ops USING hash IS 'equality byte by byte';
COMMENT ON OPERATOR FAMILY raw_ops USING hash IS 'equality byte by byte';

COMMENT ON FUNCTION raw_in(cstring) IS 'reads raw from hexadecimal, as bytea is read';
COMMENT ON FUNCTION raw_out(raw) IS 'writes raw as bytea is written';
COMMENT ON FUNCTION raw_recv(internal) IS 'reads raw in binary form';
COMMENT ON FUNCTION raw_send(raw) IS 'writes raw in binary form';
COMMENT ON FUNCTION raw_eq(raw, raw) IS 'implementation of = operator';
COMMENT ON FUNCTION raw_ne(raw, raw) IS 'implementation of <> operator';
COMMENT ON FUNCTION raw_lt(raw, raw) IS 'implementation of < operator';
COMMENT ON FUNCTION raw_le(raw, raw) IS 'implementation of <= operator';
COMMENT ON FUNCTION raw_gt(raw, raw) IS 'implementation of > operator';
COMMENT ON FUNCTION raw_ge(raw, raw) IS 'implementation of >= operator';
COMMENT ON FUNCTION raw_cmp(raw, raw) IS 'less-equal-greater';
COMMENT ON FUNCTION raw_sortsupport(internal) IS 'sort support';
COMMENT ON FUNCTION raw_hash(raw) IS 'hash';
COMMENT ON FUNCTION raw_hash_extended(raw, bigint) IS 'hash with a seed';
COMMENT ON OPERATOR = (raw, raw) IS 'equal';
COMMENT ON OPERATOR <> (raw, raw) IS 'not equal';
COMMENT ON OPERATOR < (raw, raw) IS 'less than';
COMMENT ON OPERATOR <= (raw, raw) IS 'less than or equal';
COMMENT ON OPERATOR > (raw, raw) IS 'greater than';
COMMENT ON OPERATOR >= (raw, raw) IS 'greater than or equal';
