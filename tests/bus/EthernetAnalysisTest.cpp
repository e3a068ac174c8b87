/// \file
/// Ethernet frames whose analysis comes from another trace library than the bundled one: this program defines
/// `analyzeFrame` itself, which takes precedence over that of the library.
#include "bus/EthernetTest.h"

#include <dlfcn.h>

#include <optional>

namespace {

std::optional<std::uint32_t> payloadOffset; // what the other library says, if it is in use

} // namespace

bool MIITraceMessage::analyzeFrame(const unsigned char* data, unsigned long length, miiFrameInfo_t& info) {
    constexpr const char* name = "_ZN15MIITraceMessage12analyzeFrameEPKhmR14miiFrameInfo_t";
    static const auto bundled = reinterpret_cast<decltype(&analyzeFrame)>(dlsym(RTLD_NEXT, name));
    const bool analyzed = bundled(data, length, info);
    info.payloadOffset = payloadOffset.value_or(info.payloadOffset);
    return analyzed;
}

namespace {

TEST_F(EthernetTest, PayloadThatBeginsPastTheFrameIsNotFound) {
    const EthernetSignal bare(definition("bare", {}));
    const EthernetSignal inIpdu(definition("inIpdu", {.ethSignalType = ethSignalPosType_t::IPDU}));
    const EthernetSignal inSpdu(definition("inSpdu", {.ethSignalType = ethSignalPosType_t::SPDU}));
    const EthernetSignal inSomeIp(definition("inSomeIp", {.ethSignalType = ethSignalPosType_t::SOMEIP}));
    Octets frame = FrameText{}.with({7});
    frame.shrink_to_fit(); // so that an address sanitizer sees what is read past it
    for (const std::uint32_t offset : {44U, 0x10000U, 0x10000U + 42, 0xFFFFFFFFU}) {
        payloadOffset = offset;
        EXPECT_EQ(decode(frame).size(), 0U) << offset;
    }
    payloadOffset = 42; // as the bundled library has it
    EXPECT_THAT(decode(frame), testing::ElementsAre(bare.id));
    payloadOffset.reset();
}

} // namespace
