# The tests of the DBC reader, relative to tests/.
set(DBC_TEST_SOURCES
  tools/dbc/DbcDefinitionsTest.cpp
  tools/dbc/DbcFilesTest.cpp
  tools/dbc/DbcMultiplexingTest.cpp
  tools/dbc/DbcNotesTest.cpp
  tools/dbc/DbcStatementsTest.cpp
  tools/dbc/TextEncodingTest.cpp)
