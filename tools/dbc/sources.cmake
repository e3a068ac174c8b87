# The DBC reader, relative to tools/.
set(DBC_SOURCES
  dbc/DbcAttributes.cpp
  dbc/DbcFile.cpp
  dbc/DbcLexer.cpp
  dbc/DbcMultiplexing.cpp
  dbc/DbcNotes.cpp
  dbc/DbcObjectStatements.cpp
  dbc/DbcParser.cpp
  dbc/DbcResolver.cpp
  dbc/DbcSignalLine.cpp
  dbc/DbcWords.cpp
  dbc/TextEncoding.cpp)
