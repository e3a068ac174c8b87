/// \file
/// Keeps the library's "created" and "destroyed" lines out of a benchmark report.
#pragma once

#include <iostream>
#include <sstream>

/// Discards standard output while it lives.
class QuietOutput {
  public:
    QuietOutput() : former(std::cout.rdbuf(discarded.rdbuf())) {}
    ~QuietOutput() { std::cout.rdbuf(former); }
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

  private:
    std::ostringstream discarded;
    std::streambuf* former;
};
