set(EVENT_TEST_SOURCES
  event/EventParserTest.cpp)
