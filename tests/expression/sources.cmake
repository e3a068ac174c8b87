# The tests of trigger expressions, relative to tests/.
set(EXPRESSION_TEST_SOURCES
  expression/ExpErrorsTest.cpp
  expression/ExpLocaleTest.cpp
  expression/ExpModelTest.cpp
  expression/ExpParserTest.cpp)
