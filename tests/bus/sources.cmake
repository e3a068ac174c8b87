# The tests of the CAN decoder, relative to tests/.
set(BUS_TEST_SOURCES
  bus/CANDecodeTest.cpp
  bus/CANModelTest.cpp
  bus/CANSignalTest.cpp)
