# The tests of the buses, relative to tests/.
set(BUS_TEST_SOURCES
  bus/CANClientTest.cpp
  bus/CANModelTest.cpp
  bus/CANSignalTest.cpp
  bus/EthernetAnalysisTest.cpp
  bus/EthernetModelTest.cpp
  bus/EthernetSignalTest.cpp
  bus/FlexRaySignalTest.cpp
  bus/LINSignalTest.cpp
  bus/RegistryTest.cpp
  bus/StandAloneStorageTest.cpp)
