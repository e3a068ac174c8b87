// The text forms of the trace messages: the fields as name=value items, for diagnostics.

#include "rktrace/AnalogTraceMessage.h"
#include "rktrace/CANExtTraceMessage.h"
#include "rktrace/EthernetTraceMessage.h"
#include "rktrace/FlexRayExtTraceMessage.h"
#include "rktrace/GPSTraceMessage.h"
#include "rktrace/GpioTraceMessage.h"
#include "rktrace/KeyboardMessage.h"
#include "rktrace/LINTraceMessage.h"
#include "rktrace/MIITraceMessage.h"
#include "rktrace/SystemMessage.h"
#include "rkutil/hexOctet.h"
#include "rkutil/macaddr.h"
#include "rkutil/printTime.h"

#include <algorithm>
#include <arpa/inet.h>
#include <span>

namespace {

std::ostream& writeHead(std::ostream& out, std::uint64_t timestamp) {
    out << std::dec << "timestamp=";
    return printTime(out, timestamp);
}

void writeOctets(std::ostream& out, std::span<const std::uint8_t> octets) {
    for (std::size_t i = 0; i < octets.size(); ++i) {
        if (i != 0) {
            out.put(' ');
        }
        hexOctet(out, octets[i]);
    }
}

/// `[...]` around the elements, joined by commas.
template <class Element, class Write>
void writeElements(std::ostream& out, const std::vector<Element>& elements, Write write) {
    out << ",elements=[";
    for (const Element& element : elements) {
        out << (&element == &elements.front() ? "" : ",");
        write(element);
    }
    out << "]";
}

} // namespace

std::ostream& operator<<(std::ostream& out, const CANExtTraceMessage& message) {
    writeHead(out, message.timestamp)
        << ",channel=" << unsigned{message.channel} << ",frameFormat=" << message.frameFormat
        << ",length=" << unsigned{message.length} << ",canId=0x" << std::hex << message.canId << std::dec
        << ",payload=";
    const std::size_t shown = std::min<std::size_t>(message.length, message.payload.size());
    writeOctets(out, std::span(message.payload).first(shown));
    return out;
}

std::ostream& operator<<(std::ostream& out, const LINTraceMessage& message) {
    writeHead(out, message.timestamp) << ",channel=" << unsigned{message.channel} << ",protectedId=0x";
    hexOctet(out, message.protectedId) << ",data=";
    writeOctets(out, message.data);
    return out;
}

std::ostream& operator<<(std::ostream& out, const FlexRayExtTraceMessage& message) {
    writeHead(out, message.timestamp)
        << ",frameKind=" << unsigned{message.frameKind} << ",channel=" << unsigned{message.channel}
        << ",slot=" << message.slot << ",cycle=" << unsigned{message.cycle} << ",data=";
    writeOctets(out, message.data);
    out << ",payload=";
    writeOctets(out, message.payload);
    return out;
}

std::ostream& operator<<(std::ostream& out, const GpioTraceMessage& message) {
    writeHead(out, message.timestamp);
    writeElements(out, message.elements, [&out](const gpioElement_t& element) {
        out << "input=" << element.input << ",value=0x" << std::hex << element.value << ",mask=0x"
            << element.mask << std::dec;
    });
    return out;
}

std::ostream& operator<<(std::ostream& out, const AnalogTraceMessage& message) {
    writeHead(out, message.timestamp);
    writeElements(out, message.elements, [&out](const analogElement_t& element) {
        out << "input=" << element.input << ",value=" << element.mantissa << 'e' << int{element.exponent};
    });
    return out;
}

std::ostream& operator<<(std::ostream& out, const KeyboardMessage& message) {
    return writeHead(out, message.timestamp) << ",keyCode=" << message.keyCode << ",value=" << message.value;
}

std::ostream& operator<<(std::ostream& out, const SystemMessage& message) {
    writeHead(out, message.timestamp) << ",code=" << message.code << ",text=" << message.text;
    if (const auto* const usage = dynamic_cast<const SystemUsageMessage*>(&message)) {
        out << ",internalUsage=" << unsigned{usage->internalUsage}
            << ",externalUsage=" << unsigned{usage->externalUsage}
            << ",externalUsage2=" << unsigned{usage->externalUsage2};
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, const GPSTraceMessage& message) {
    std::string sentences = message.sentences;
    std::replace_if(
        sentences.begin(), sentences.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return writeHead(out, message.timestamp) << ",sentences=" << sentences;
}

std::ostream& operator<<(std::ostream& out, const miiFrameInfo_t& info) {
    out << std::dec << "sourceMac=";
    macaddr_t(info.sourceMac).print(out);
    out << ",destinationMac=";
    macaddr_t(info.destinationMac).print(out);
    out << ",sourceIp=" << inet_ntoa({info.sourceIp});
    out << ",destinationIp="
        << inet_ntoa({info.destinationIp}); // a statement of its own: one buffer for both
    return out << ",sourcePort=" << info.sourcePort << ",destinationPort=" << info.destinationPort
               << ",ipProtocol=" << unsigned{info.ipProtocol} << ",vlan=" << unsigned{info.vlan}
               << ",vlanId=" << info.vlanId << ",payloadOffset=" << info.payloadOffset;
}

std::ostream& operator<<(std::ostream& out, const MIITraceMessage& message) {
    writeHead(out, message.timestamp) << ",channel=" << unsigned{message.channel} << ",frame=";
    writeOctets(out, message.frame);
    return out;
}

std::ostream& operator<<(std::ostream& out, const EthernetTraceMessage& message) {
    writeHead(out, message.timestamp)
        << ",channel=" << unsigned{message.channel} << ",kind=" << message.kind << ",frame=";
    writeOctets(out, message.frame);
    return out;
}
