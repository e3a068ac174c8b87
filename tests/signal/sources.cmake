# The tests of the signal core, relative to tests/. Those on shared memory are a program of their own.
set(SIGNAL_TEST_SOURCES
  signal/BaseSignalTest.cpp
  signal/DiagnosticsTest.cpp
  signal/FrameTableTest.cpp
  signal/IdTableTest.cpp)
set(SHARED_MEMORY_TEST_SOURCES
  signal/SharedSegmentTest.cpp
  signal/SlotLockTest.cpp)
