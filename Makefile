# The PostgreSQL extension. Tests without a server, fuzzers and benchmarks: CMakeLists.txt.
#
#   make && make install          PG_CONFIG=... picks the server, CXX=... the compiler
#   make installcheck             the SQL tests, against the server that PGHOST, PGPORT, ... name
#   make sessioncheck             the scripted sessions, against private servers of their own
#   make symbolcheck              what the library exports
#
# Works from the source folder, or from an empty folder with `make -f <source>/Makefile`.

base := pkg_dbe_xml
# Validation is an extension of its own, with a library of its own: who does not validate loads
# nothing of it.
validate := $(base)_validate
EXTENSION = $(base) $(validate)
EXTVERSION = 1.0

MODULE_big = $(base)
MODULES = $(validate)
PGFILEDESC = "pkg_dbe_xml - DOM for XML documents"

ifeq ($(CURDIR)/,$(dir $(abspath $(firstword $(MAKEFILE_LIST)))))
source := .
else
source := $(patsubst %/,%,$(dir $(abspath $(firstword $(MAKEFILE_LIST)))))
VPATH := $(source)
endif

sources := $(sort $(wildcard $(addprefix $(source)/,src/*.cpp src/*/*.cpp hosts/postgres/*.cpp)))
objects_folder := build/postgres
OBJS = $(patsubst $(source)/%.cpp,$(objects_folder)/%.o,$(sources))
validate_sources := $(sort $(wildcard $(addprefix $(source)/validate/,*.cpp postgres/*.cpp)))
validate_objects = $(patsubst $(source)/%.cpp,$(objects_folder)/%.o,$(validate_sources))

# The install script is the parts in the order of their numbers. Scripts that upgrade from older
# releases stand in sql/.
sql_parts := $(sort $(wildcard $(source)/sql/parts/*.sql))
install_script = $(base)--$(EXTVERSION).sql
DATA_built = $(install_script)
DATA = $(patsubst $(source)/%,%,$(wildcard $(source)/sql/$(base)--*--*.sql) \
	$(wildcard $(source)/validate/sql/$(validate)--*.sql))

REGRESS = $(patsubst $(source)/tests/sql/%.sql,%,$(sort $(wildcard $(source)/tests/sql/*.sql)))
REGRESS_OPTS = --inputdir=$(source)/tests --load-extension=$(base) --encoding=UTF8

EXTRA_CLEAN = $(objects_folder)

XML2_CONFIG ?= xml2-config
exports_map := $(source)/hosts/postgres/exports.map
SHLIB_LINK = $(shell $(XML2_CONFIG) --libs) -lstdc++ -lm -Wl,--gc-sections \
	-Wl,--version-script=$(exports_map)

# No bitcode: the server would compile it as other C++ than this.
override with_llvm = no

PG_CONFIG ?= pg_config
PGXS := $(shell $(PG_CONFIG) --pgxs)
ifeq ($(PGXS),)
$(error $(PG_CONFIG) does not run; install the server's development package or set PG_CONFIG)
endif
include $(PGXS)

# From here on nothing of a build in the source folder is taken for the one of this folder.
srcdir := $(source)
override VPATH :=
vpath %.control $(source)

# --- compiling ----------------------------------------------------------------------------------

OPTIMISE ?= -O2
# Empty for assertions.
ASSERTIONS ?= -DNDEBUG
# Empty for a compiler newer than these sources.
WARNINGS_AS_ERRORS ?= -Werror
cxx_flags = -std=c++20 $(OPTIMISE) -g -fPIC -fvisibility=hidden -fvisibility-inlines-hidden \
	-ffunction-sections -fdata-sections $(ASSERTIONS) \
	-Wall -Wextra -Wshadow -Wconversion $(WARNINGS_AS_ERRORS) \
	-ffile-prefix-map=$(source)/= -I$(source)/include -I$(source)/src \
	$(patsubst -I%,-isystem %,$(shell $(XML2_CONFIG) --cflags)) $(EXTRA_CXXFLAGS)
# Only the host sees the server's headers.
library_flags = -include $(source)/hosts/postgres/server_free.hpp
server_flags = $(patsubst -I%,-isystem %,$(filter-out -I. -I$(source),$(CPPFLAGS)))

define compile
@mkdir -p $(@D)
$(CXX) $(cxx_flags) $(1) -MMD -MP -c -o $@ $<
endef

$(objects_folder)/src/%.o: $(source)/src/%.cpp $(source)/Makefile
	$(call compile,$(library_flags))
$(objects_folder)/hosts/postgres/%.o: $(source)/hosts/postgres/%.cpp $(source)/Makefile
	$(call compile,$(server_flags))
$(objects_folder)/validate/%.o: $(source)/validate/%.cpp $(source)/Makefile
	$(call compile,$(library_flags) -I$(source)/validate)
$(objects_folder)/validate/postgres/%.o: $(source)/validate/postgres/%.cpp $(source)/Makefile
	$(call compile,$(server_flags) -I$(source)/validate)
validate_map := $(source)/validate/postgres/exports.map
$(validate)$(DLSUFFIX): $(validate_objects) $(validate_map)
	$(CXX) -shared -o $@ $(validate_objects) $(LDFLAGS) $(shell $(XML2_CONFIG) --libs) \
		-Wl,--gc-sections -Wl,--version-script=$(validate_map)
# For tests of ways to fail: never installed.
$(objects_folder)/tests/%.o: $(source)/tests/t/%.cpp $(source)/Makefile
	$(call compile,$(library_flags))
$(objects_folder)/failing_calls.so: $(OBJS) $(objects_folder)/tests/failing_calls.o
	$(CXX) -shared -Wl,-Bsymbolic -o $@ $^ $(shell $(XML2_CONFIG) --libs)
-include $(OBJS:.o=.d) $(validate_objects:.o=.d) $(objects_folder)/tests/failing_calls.d
$(objects_folder)/failing_conversion.so: $(source)/tests/t/failing_conversion.cpp $(source)/Makefile
	@mkdir -p $(@D)
	$(CXX) $(cxx_flags) $(server_flags) -shared -o $@ $<
$(objects_folder)/other_build.so: $(source)/tests/t/other_build.cpp $(source)/Makefile
	@mkdir -p $(@D)
	$(CXX) $(cxx_flags) $(server_flags) -shared -o $@ $<

$(shlib): $(exports_map)

# Each function that SQL declares has a body, and each body a declaration.
all: $(objects_folder)/entries_checked
validate_sql := $(wildcard $(source)/validate/sql/*.sql)
$(objects_folder)/entries_checked: $(shlib) $(sql_parts) $(source)/scripts/check_entries \
		$(validate)$(DLSUFFIX) $(validate_sql)
	$(source)/scripts/check_entries $(shlib)
	$(source)/scripts/check_entries $(validate)$(DLSUFFIX) $(validate_sql)
	@touch $@

$(install_script): $(sql_parts) $(source)/Makefile
	@{ printf '%s\n' '\echo Use "CREATE EXTENSION $(base)" to load this file. \quit'; \
		cat $(sql_parts); } > $@

# --- checks ---------------------------------------------------------------------------------------

.PHONY: symbolcheck sessioncheck
symbolcheck: $(shlib) $(validate)$(DLSUFFIX)
	$(source)/tests/t/check_symbols $(shlib) $(exports_map) $(bindir)/postgres
	$(source)/tests/t/check_symbols $(validate)$(DLSUFFIX) $(validate_map) $(bindir)/postgres \
		$(validate_sql)

sessioncheck:
	PG_VERSION=$(MAJORVERSION) $(source)/tests/t/run
