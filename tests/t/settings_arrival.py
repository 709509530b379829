"""Every way in which a setting can be given a value, against a running server.

Usage: settings_arrival.py unloaded|preloaded STORED...   (settings_arrival.sh starts it)

For each way STORED in which an administrator's value is kept, each setting and each role, sessions
try every way in which another value can arrive. Prints a line for each way and role: its name, how
many sessions were tried, and what came out otherwise than it must, separated by tabs.

A client of its own, since libpq cannot put a parameter of one's choice into the startup packet.
"""
import concurrent.futures
import os
import socket
import struct
import sys
import time

# Name, what an administrator has stored, what somebody else wants, what it cannot be. The values
# are written as the server shows them.
SETTINGS = [
    ("safe_data_path", "/stored", "/other", None),  # wrong paths: safe_data_path.sh
    ("parse_budget_base", "128kB", "256kB", "deep"),
    ("parse_budget_factor", "7", "9", "-1"),
    ("max_depth", "5", "6", "0"),
    ("max_content_particles", "50", "60", "10000001"),
    ("max_attributes", "50", "60", "1.5e9"),
    ("parse_work", "70", "80", "0"),
    ("max_session_memory", "5MB", "6MB", "1kB"),
    ("max_path_work", "5000", "6000", "10"),
    ("max_path_memory", "128kB", "256kB", "deep"),
    ("large_object_piece", "7B", "9B", "1GB"),
]
PLAIN, GRANTED, SUPER = "arrival_plain", "arrival_granted", "arrival_super"
DATABASE = os.environ["PGDATABASE"]
FILE = os.environ["ARRIVAL_FILE"]  # included by the server's configuration

CALL = "select xml_dom_get_session_tree_num()"
# Arrivals that are tried over every way.
BRIEFLY = ("nothing", "option -c", "SET", "function")

DENIED, DONE, INVALID, ABORTED = "42501", "00000", "22023", "25P02"
LOST = "55000"


class Session:
    """A connection. `state` is the SQLSTATE of the last answer, `value` its last field."""

    def __init__(self, user, parameters, database=DATABASE):
        address = (os.environ["PGHOST"], int(os.environ["PGPORT"]))
        self.stream = socket.create_connection(address).makefile("rwb")
        words = ["user", user, "database", database]
        for name, value in parameters.items():
            words += [name, value]
        body = b"".join(word.encode() + b"\0" for word in words) + b"\0"
        self.stream.write(struct.pack("!ii", len(body) + 8, 3 << 16) + body)
        self.answer()

    def answer(self):
        self.stream.flush()
        self.state, self.value = DONE, None
        while True:
            kind = self.stream.read(1)
            if not kind:  # the server has closed the connection, and said why
                assert self.state != DONE
                return
            body = self.stream.read(struct.unpack("!i", self.stream.read(4))[0] - 4)
            if kind == b"E":
                fields = dict((part[:1], part[1:].decode()) for part in body.split(b"\0") if part)
                self.state = fields[b"C"]
            elif kind == b"D":
                self.value = body[6:].decode()  # rows of one field
            elif kind == b"R":
                assert body == b"\0\0\0\0", "the server wants a password"
            elif kind == b"Z":
                return

    def run(self, statement):
        body = statement.encode() + b"\0"
        self.stream.write(b"Q" + struct.pack("!i", len(body) + 4) + body)
        self.answer()
        return self.state

    def close(self):
        self.stream.close()


# The connection of somebody who can mend a value that keeps every session from beginning.
MENDER = {"options": "-c session_preload_libraries= -c local_preload_libraries="}


def administrate(*statements):
    session = Session(SUPER, MENDER, "postgres")
    for statement in statements:
        assert session.run(statement) == DONE, (statement, session.state)
    session.close()


def store_in_file(values):
    """Writes values into the configuration and waits until new sessions see them."""
    mark = str(time.time())
    with open(FILE, "w", encoding="ascii") as file:
        file.write("arrival.mark = '%s'\n" % mark)
        for name, value in values:
            file.write("%s = '%s'\n" % (name, value))
    administrate("select pg_reload_conf()")
    for _ in range(200):
        session = Session(SUPER, MENDER, "postgres")
        session.run("select current_setting('arrival.mark', true)")
        seen = session.value
        session.close()
        if seen == mark:
            return
        time.sleep(0.02)
    raise RuntimeError("the configuration was not read again")


def alter(*targets):
    def store(values):
        administrate(*("alter %s set %s = '%s'" % (target, name, value)
                       for target in targets for name, value in values))
    return store


# How an administrator's value is kept, and how it is taken away.
ROLES = ["role " + role for role in (PLAIN, GRANTED, SUPER)]
IN_DATABASE = [role + " in database " + DATABASE for role in ROLES]
TARGETS = {
    "all": ["role all"],
    "database": ["database " + DATABASE],
    "role": ROLES,
    "role in database": IN_DATABASE,
}


def store(way, which):
    values = [("pkg_dbe_xml." + row[0], row[which]) for row in SETTINGS if row[which] is not None]
    if way == "file":
        store_in_file(values)
    elif way == "database and role":  # the role's counts
        alter("database " + DATABASE)([(name, "1") for name, _ in values if "path" not in name
                                       and "base" not in name and "memory" not in name])
        alter(*ROLES)(values)
    elif way != "nothing":
        alter(*TARGETS[way])(values)


def take_away(way):
    names = ["pkg_dbe_xml." + row[0] for row in SETTINGS]
    if way == "file":
        store_in_file([])
    elif way == "database and role":
        administrate(*("alter %s reset %s" % (target, name)
                       for target in TARGETS["database"] + ROLES for name in names))
    elif way != "nothing":
        administrate(*("alter %s reset %s" % (target, name)
                       for target in TARGETS[way] for name in names))


def arrivals(name, other):
    """Ways in which another value arrives: name, parameters of the connection, statements. After
    a statement stands what it must give: to a plain role whose session has not loaded the library,
    to a plain role whose session has, to a role that has the right, and, where that is another, to
    such a role whose session has not. IN_FORCE asks for the value
    in force and must give the stored one, or, to who has the right, what is said."""
    set_it = "set %s = '%s'" % (name, other)
    set_local = "set local %s = '%s'" % (name, other)
    config = "select set_config('%s', '%s', false)" % (name, other)
    short = name.split(".")[1]
    catch = "do $$ begin perform xml_dom_get_session_tree_num(); " \
            "exception when others then null; end $$"
    in_force = "select current_setting('%s')" % name
    refused = [(CALL, DENIED), (CALL, DENIED), ("reset " + name, DONE), ("reset all", DONE), ("discard all", DONE), (CALL, DENIED)]
    taken = [(CALL, DONE), (in_force, other), ("reset all", DONE), (in_force, other)]

    def by_connection(parameters):
        return parameters, refused, "no connection", taken

    def by_statement(statement, *more):
        return ({},
                [(statement, DONE)] + [(again, DENIED) for again in more or (CALL, CALL)] +
                [("reset " + name, DONE), (CALL, DONE), (in_force, None)],
                [(statement, DENIED), (CALL, DONE), (in_force, None)],
                [(statement, DONE), (CALL, DONE), (in_force, other), ("reset " + name, DONE),
                 (in_force, None)])

    def by_function(function):
        return ({},
                [("select %s()" % function, DENIED), ("select %s()" % function, DENIED),
                 (CALL, DONE), (in_force, None), ("select %s()" % function, DENIED)],
                [("select %s()" % function, DENIED), (CALL, DONE), (in_force, None)],
                [("select %s()" % function, other), (CALL, DONE), (in_force, None)])

    end = [("rollback", DONE), (CALL, DONE), (in_force, None)]
    return {
        "nothing": ({}, [(CALL, DONE), (in_force, None)], [(CALL, DONE), (in_force, None)],
                    [(CALL, DONE), (in_force, None)]),
        "option -c": by_connection({"options": "-c %s=%s" % (name, other)}),
        "option --": by_connection({"options": "--%s=%s" % (name.replace("_", "-"), other)}),
        "startup packet": by_connection({name: other}),
        "SET": by_statement(set_it),
        "set_config": by_statement(config),
        "SET, in capitals": by_statement(set_it.upper().replace(other.upper(), other)),
        "SET, a handler": (
            {}, [(set_it, DONE), (catch, DONE), (CALL, DENIED)],
            [(set_it, DENIED), (catch, DONE), (CALL, DONE), (in_force, None)],
            [(set_it, DONE), (catch, DONE), (CALL, DONE), (in_force, other)]),
        "SET LOCAL": (
            {}, [("begin", DONE), (set_local, DONE), ("savepoint a", DONE), (CALL, DENIED),
                 ("rollback to a", DONE), (CALL, DENIED)] + end,
            [("begin", DONE), (set_local, DENIED), (CALL, ABORTED)] + end,
            [("begin", DONE), (set_local, DONE), (CALL, DONE), (in_force, other)] + end),
        "SET and SET LOCAL": (
            {}, [("begin", DONE), (set_it, DONE), (set_local, DONE), (CALL, DENIED)] + end,
            [("begin", DONE), (set_it, DENIED), (set_local, ABORTED)] + end,
            [("begin", DONE), (set_it, DONE), (set_local, DONE), (CALL, DONE), (in_force, other),
             ("commit", DONE), (CALL, DONE), (in_force, other)]),
        "SET below a savepoint": (
            {}, [("begin", DONE), (set_it, DONE), ("savepoint a", DONE), ("reset " + name, DONE),
                 (CALL, DENIED)] + end,
            [("begin", DONE), (set_it, DENIED)] + end,
            [("begin", DONE), (set_it, DONE), ("savepoint a", DONE), ("reset " + name, DONE),
             (CALL, DONE), ("rollback to a", DONE), (in_force, other)] + end,
            # The server itself drops what RESET made of it, and it cannot be had back.
            [("begin", DONE), (set_it, DONE), ("savepoint a", DONE), ("reset " + name, DONE),
             (CALL, LOST), ("rollback", DONE), (CALL, LOST), ("load 'pkg_dbe_xml'", LOST),
             ("discard all", DONE), (CALL, LOST)]),
        "function": by_function("call_with_" + short),
        "function that sets for its caller": by_function("set_with_" + short),
        "function of a superuser": (
            {},) + ([("select super_with_%s()" % short, other), (CALL, DONE), (in_force, None)],) * 3,
        "role that may not, then one that may": (
            {}, [("set role " + PLAIN, DONE), (set_it, DONE), ("reset role", DONE), (CALL, DENIED),
                 ("load 'pkg_dbe_xml'", DENIED), ("load 'pkg_dbe_xml'", DENIED), (CALL, DENIED),
                 ("reset " + name, DONE), ("load 'pkg_dbe_xml'", DONE), (in_force, None)],
            [("set role " + PLAIN, DONE), (set_it, DENIED), ("reset role", DONE), (CALL, DONE),
             (in_force, None)], None),
        "role that may, then one that may not": (
            {}, None, None, [(set_it, DONE), ("set role " + PLAIN, DONE), (CALL, DONE),
                             (in_force, other)]),
    }


def trial(user, arrival, which, stored):
    """Plays one arrival; returns what was otherwise than it must be, or ''."""
    parameters, steps = arrival[0], arrival[min(1 + which, len(arrival) - 1)]
    if steps is None:
        return None
    session = Session(user, parameters)
    try:
        if steps == "no connection":
            return "" if session.state == DENIED else "connected: " + session.state
        if session.state != DONE:
            return "not connected: " + session.state
        for statement, wanted in steps:
            state = session.run(statement)
            if wanted in (DONE, DENIED, ABORTED, LOST):
                got = state
            else:
                got = session.value if state == DONE else state
                wanted = stored if wanted is None else wanted
            if got != wanted:
                return "%s: %s instead of %s" % (statement, got, wanted)
        return ""
    finally:
        session.close()


def default_of(name):
    session = Session(SUPER, {}, "postgres")
    session.run("load 'pkg_dbe_xml'")
    session.run("select current_setting('%s')" % name)
    session.close()
    return session.value


def report(name, outcomes):
    tried = [outcome for outcome in outcomes if outcome is not None]
    if tried:
        wrong = sorted({outcome for outcome in tried if outcome})
        print("%s\t%d\t%s" % (name, len(tried), "; ".join(wrong)), flush=True)


def steps_for(arrival, user, library_is_loaded):
    """Which of the steps of an arrival a role must go through."""
    may = {"role that may not, then one that may": user != SUPER,
           "role that may, then one that may not": user == SUPER}.get(arrival, user != PLAIN)
    return (2 if library_is_loaded else 3) if may else int(library_is_loaded)


def play(way, library_is_loaded, pool):
    """All arrivals over one way; the few that differ most where the way begins with "briefly"."""
    briefly = way.startswith("briefly ")
    way = way.removeprefix("briefly ")
    store(way, 1)
    stored = [default_of("pkg_dbe_xml." + row[0]) if way == "nothing" else row[1]
              for row in SETTINGS]
    for arrival in BRIEFLY if briefly else arrivals("pkg_dbe_xml.x", "x"):
        for user in (PLAIN, GRANTED, SUPER) if arrival in BRIEFLY else (PLAIN, SUPER):
            which = steps_for(arrival, user, library_is_loaded)
            report("%s over %s, %s" % (arrival, way, user[8:]), pool.map(
                lambda row, value: trial(user, arrivals("pkg_dbe_xml." + row[0], row[2])[arrival],
                                         which, value), SETTINGS, stored))
    take_away(way)


def invalid_one(row, user, library_is_loaded):
    """A stored value that cannot be read: the library is not used, whoever calls it, unless another
    value that may be set takes its place."""
    name = "pkg_dbe_xml." + row[0]
    session = Session(user, {})
    states = [session.state]
    if session.state == DONE:
        load = [session.run("load 'pkg_dbe_xml'")] if user == SUPER else []
        states = [session.run(CALL), session.run(CALL)] + load
    session.close()
    wanted = [INVALID] if library_is_loaded else [INVALID] * len(states)
    if states != wanted:
        return "%s: %s" % (name, states)
    return ""


def play_invalid(way, library_is_loaded):
    """One setting after the other."""
    for user in (PLAIN, GRANTED, SUPER):
        outcomes = []
        for row in SETTINGS:
            if row[3] is None:
                continue
            pair = [("pkg_dbe_xml." + row[0], row[3])]
            if way == "file":
                store_in_file(pair)
            else:
                alter(*TARGETS[way])(pair)
            outcomes.append(invalid_one(row, user, library_is_loaded))
            take_away(way)
        report("what cannot be read, of %s, %s" % (way, user[8:]), outcomes)


def prepare():
    """The functions that bring a value along, while nobody looks at it."""
    session = Session(SUPER, MENDER)
    statements = []
    for short, _, other, _ in SETTINGS:
        name = "pkg_dbe_xml." + short
        read = "begin perform xml_dom_get_session_tree_num(); " \
               "return current_setting('%s'); end" % name
        statements += [
            "create function call_with_%s() returns text language plpgsql set %s = '%s' as $$ %s $$"
            % (short, name, other, read),
            "create function super_with_%s() returns text language plpgsql security definer "
            "set %s = '%s' as $$ %s $$" % (short, name, other, read),
            "create function set_with_%s() returns text language plpgsql as "
            "$$ begin perform set_config('%s', '%s', true); %s end $$"
            % (short, name, other, "perform xml_dom_get_session_tree_num(); "
               "return current_setting('%s');" % name),
            "grant set on parameter %s to %s" % (name, GRANTED),
        ]
    for statement in statements:
        assert session.run(statement) == DONE, (statement, session.state)
    session.close()


def roles_of_unreadable():
    """Pairs of a role and the setting that is stored for it with what cannot be read."""
    rows = [row for row in SETTINGS if row[3] is not None]
    return [("arrival_%s_%s" % (kind, row[0]), kind, row)
            for kind in ("role", "pair", "other") for row in rows]


def store_unreadable():
    """Stores what a server that has loaded the library would not let anybody store: for roles, for
    roles in this database, and for a database while the role has a good value."""
    statements = ["create database arrival_other template " + DATABASE]
    for role, kind, row in roles_of_unreadable():
        setting = "set pkg_dbe_xml.%s = " % row[0]
        target = "alter role " + role + (" in database " + DATABASE if kind == "pair" else " ")
        statements += ["create role %s login" % role,
                       "alter database arrival_other %s '%s'" % (setting, row[3]),
                       "%s %s '%s'" % (target, setting, row[1 if kind == "other" else 3])]
    administrate(*statements)


def play_unreadable():
    """Stored for a role, what cannot be read keeps the library from being used, though something
    that can be read is stored for the database; the other way round the role's value is in force.
    What a session is given instead changes nothing; to correct what is stored does."""
    outcomes = {}
    alter("database " + DATABASE)([("pkg_dbe_xml." + row[0], row[1]) for row in SETTINGS])
    for role, kind, row in roles_of_unreadable():
        session = Session(role, {}, DATABASE)
        states = [session.run(CALL), session.run(CALL)]
        name = "pkg_dbe_xml." + row[0]
        wrong = "" if states == [DONE if kind == "other" else INVALID] * 2 else str(states)
        if kind != "other":
            where = " in database " + DATABASE if kind == "pair" else ""
            administrate("alter role %s%s reset %s" % (role, where, name))
            wrong = wrong or ("" if session.run(CALL) == DONE else "not mended")
        outcomes.setdefault("what cannot be read, of a " + kind, []).append(wrong and role + wrong)
        session.close()
    # Each of the six is wrong for that database; the role's own good value heals only its own.
    for role, kind, row in roles_of_unreadable():
        if kind == "other":
            options = " ".join("-c pkg_dbe_xml.%s=%s" % (other[0], other[1])
                               for other in SETTINGS if other is not row)
            session = Session(SUPER, {"options": options}, "arrival_other")
            state = session.run(CALL)
            session.close()
            session = Session(role, {}, "arrival_other")
            outcomes.setdefault("what cannot be read, of another database", []).append(
                "" if (state, session.run(CALL)) == (INVALID, INVALID) else role)
            session.close()
    take_away("database")
    for name, wrong in outcomes.items():
        report(name, wrong)


COMMANDS = {"prepare": prepare, "store unreadable": store_unreadable, "unreadable": play_unreadable}


def main(what, *ways):
    if what in COMMANDS:
        COMMANDS[what]()
    for way in ways:
        if way.startswith("invalid "):
            play_invalid(way.removeprefix("invalid "), what == "preloaded")
        else:
            with concurrent.futures.ThreadPoolExecutor(4) as pool:
                play(way, what == "preloaded", pool)


if __name__ == "__main__":
    main(*sys.argv[1:])
    print("done\t0\t")
