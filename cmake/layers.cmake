# The folders of the program, lowest first, and what the code of each may
# include: dependencies run one way only. Each folder is the static library
# qorarc_<folder>, linked with exactly the folders it may include. The
# build checks every include against this table (check_includes.cmake).
set(QORARC_LAYERS base runtime parquet output archive export app)

set(QORARC_MAY_INCLUDE_base)
set(QORARC_MAY_INCLUDE_runtime base)
set(QORARC_MAY_INCLUDE_parquet base)
set(QORARC_MAY_INCLUDE_output base)
set(QORARC_MAY_INCLUDE_archive base)
set(QORARC_MAY_INCLUDE_export archive parquet output base)
# Not runtime: only the entry point starts the runtime.
set(QORARC_MAY_INCLUDE_app export archive parquet output base)

# The entry point may include every folder.
set(QORARC_ENTRY_POINT app/main.cc)

# Unit tests (*_test.cc) may include their own folder, these folders and
# the tests' helpers (tests/support/, included as "support/...").
set(QORARC_TESTS_MAY_INCLUDE base support)
