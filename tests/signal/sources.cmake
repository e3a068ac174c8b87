# The tests of the signal core, relative to tests/. Those on shared memory are a program of their own.
set(SIGNAL_TEST_SOURCES
  signal/BitFieldTest.cpp
  signal/FrameTableTest.cpp
  signal/MirrorSignalTest.cpp
  signal/PduChainTest.cpp
  signal/SignalCodecTest.cpp
  signal/SignalDefinitionTest.cpp
  signal/SignalRegistryTest.cpp
  signal/SignalValueTest.cpp)
set(SHARED_MEMORY_TEST_SOURCES
  signal/AttachFailureTest.cpp
  signal/KeyCollisionTest.cpp
  signal/SharedMemoryTest.cpp
  signal/SharedSegmentTest.cpp
  signal/SlotLockTest.cpp)
