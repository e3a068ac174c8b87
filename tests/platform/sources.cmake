# The tests of the platform libraries, relative to tests/.
set(PLATFORM_TEST_SOURCES
  platform/AnalyzeFrameTest.cpp
  platform/GPSTraceMessageTest.cpp
  platform/RkutilTest.cpp
  platform/TextFormsTest.cpp
  platform/TraceRecordTest.cpp)
