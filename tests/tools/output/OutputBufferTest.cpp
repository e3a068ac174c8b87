#include "output/OutputBuffer.h"

#include "tools/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace rksignal {
namespace {

TEST(OutputBuffer, PiecesOfAllSizesArriveInOrder) {
    const TemporaryFolder folder;
    const int file = open(folder.path("out").c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    std::string expected;
    {
        OutputBuffer out(file);
        for (std::size_t size = 0; size < 200'000; size = 3 * size + 1) {
            const std::string piece(size, static_cast<char>('a' + size % 26));
            out.append(piece);
            char* const room = out.reserve(4096);
            std::memcpy(room, "1234", 4);
            out.advance(room + 4);
            expected += piece + "1234";
        }
        EXPECT_FALSE(out.closed());
    }
    close(file);
    EXPECT_EQ(folder.read("out"), expected);
}

} // namespace
} // namespace rksignal
