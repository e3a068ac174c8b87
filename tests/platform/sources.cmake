# The tests of the platform libraries, relative to tests/.
set(PLATFORM_TEST_SOURCES
  platform/CANExtTraceMessageTest.cpp
  platform/RkutilTest.cpp)
