# The tests of the logger's inputs, relative to tests/.
set(INPUT_TEST_SOURCES
  input/GPSSignalTest.cpp
  input/InputSignalTest.cpp)
