// Capture files of any content, and files of a sound form with packets of any content: pcap, and pcapng with
// an interface of each link type that is understood.

#include "FuzzInput.h"
#include "TraceFuzz.h"

#include <iterator>
#include <string>

namespace {

constexpr std::uint32_t linkTypes[] = {1, 113, 210, 212, 227, 276};

void append(std::string& bytes, std::initializer_list<std::uint32_t> words) {
    for (const std::uint32_t word : words) {
        bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
    }
}

std::string pcap(FuzzInput& input) {
    std::string bytes;
    append(bytes, {0xA1B2C3D4, 0x00040002, 0, 0, 65535});
    append(bytes, {linkTypes[input.take<std::uint8_t>() % std::size(linkTypes)]});
    while (!input.empty()) {
        const auto packet = input.takeBytes(input.take<std::uint8_t>());
        const auto length = static_cast<std::uint32_t>(packet.size());
        append(bytes, {1, 2, length, length});
        bytes.append(packet.begin(), packet.end());
    }
    return bytes;
}

std::string pcapng(FuzzInput& input) {
    std::string bytes;
    append(bytes, {0x0A0D0D0A, 28, 0x1A2B3C4D, 1, ~0U, ~0U, 28});
    for (const std::uint32_t link : linkTypes) {
        append(bytes, {1, 20, link, 65535, 20});
    }
    while (!input.empty()) {
        const std::uint32_t interface = input.take<std::uint8_t>() % std::size(linkTypes);
        const auto packet = input.takeBytes(input.take<std::uint8_t>());
        const auto length = static_cast<std::uint32_t>(packet.size());
        const std::uint32_t padded = (length + 3) / 4 * 4;
        append(bytes, {6, 32 + padded, interface, 0, 1, length, length});
        bytes.append(packet.begin(), packet.end()).append(padded - length, '\0');
        append(bytes, {32 + padded});
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr const char* magics[] = {"\xD4\xC3\xB2\xA1", "\xA1\xB2\x3C\x4D", "\x0A\x0D\x0D\x0A"};
    FuzzInput input(data, size);
    const auto form = input.take<std::uint8_t>();
    std::string bytes;
    if (form < std::size(magics)) {
        const auto rest = input.takeBytes(size);
        bytes.assign(magics[form], 4).append(rest.begin(), rest.end());
    } else {
        bytes = form % 2 == 0 ? pcap(input) : pcapng(input);
    }
    return fuzzTrace(rksignal::TraceFormat::Capture, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                     bytes.size());
}
