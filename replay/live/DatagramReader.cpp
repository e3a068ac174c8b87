#include "live/DatagramReader.h"

#include "live/ClockTime.h"
#include "live/LiveSource.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace rksignal {
namespace {

/// Room for a time stamp and the number of lost datagrams.
constexpr std::size_t controlBytes = CMSG_SPACE(sizeof(timespec)) + CMSG_SPACE(sizeof(std::uint32_t));

struct alignas(cmsghdr) ControlBytes {
    std::array<char, controlBytes> bytes;
};

/// Sockets that cannot tell give messages without it.
void askFor(int descriptor, int option) {
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, option, &on, sizeof on);
}

} // namespace

struct DatagramReader::Buffers {
    explicit Buffers(std::size_t mostBytes) : content(mostAtOnce * mostBytes) {
        for (std::size_t i = 0; i < mostAtOnce; ++i) {
            parts[i] = {&content[i * mostBytes], mostBytes};
            prepare(i);
        }
    }

    void prepare(std::size_t i) {
        heads[i].msg_hdr = {&senders[i],
                            sizeof senders[i],
                            &parts[i],
                            1,
                            control[i].bytes.data(),
                            control[i].bytes.size(),
                            0};
    }

    std::vector<std::uint8_t> content;
    std::array<iovec, mostAtOnce> parts{};
    std::array<ControlBytes, mostAtOnce> control{};
    std::array<sockaddr_storage, mostAtOnce> senders{};
    std::array<mmsghdr, mostAtOnce> heads{};
};

DatagramReader::DatagramReader(std::string name, int descriptor, std::size_t mostBytes)
    : name(std::move(name)), socket(descriptor), buffers(std::make_unique<Buffers>(mostBytes)) {
    askFor(descriptor, SO_TIMESTAMPNS);
    askFor(descriptor, SO_RXQ_OVFL);
    int type = 0;
    socklen_t length = sizeof type;
    isConnection = getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_SEQPACKET;
}

DatagramReader::~DatagramReader() = default;

void DatagramReader::receive() {
    for (std::size_t i = 0; i < count; ++i) {
        buffers->prepare(i);
    }
    at = count = 0;
    const int received = recvmmsg(socket.get(), buffers->heads.data(), mostAtOnce, MSG_DONTWAIT, nullptr);
    if (received >= 0) {
        count = static_cast<std::size_t>(received);
    } else if (errno == ENETDOWN) { // told once; the socket goes on when the interface is up again
        ++timesDown;
    } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
        throw SourceError("cannot receive from " + name, errno);
    }
    for (std::size_t i = 0; isConnection && i < count; ++i) {
        if (buffers->heads[i].msg_len == 0) {
            isAtEnd = true;
            count = i;
        }
    }
}

void DatagramReader::next() {
    msghdr& head = buffers->heads[at].msg_hdr;
    content = {static_cast<const std::uint8_t*>(head.msg_iov->iov_base), buffers->heads[at].msg_len};
    address = {static_cast<const std::uint8_t*>(head.msg_name), head.msg_namelen};
    whole = (head.msg_flags & MSG_TRUNC) == 0;
    ++at;
    time = 0;
    readControl(head);
    time = time != 0 ? time : clockTime(CLOCK_REALTIME);
}

void DatagramReader::readControl(msghdr& head) {
    for (cmsghdr* each = CMSG_FIRSTHDR(&head); each != nullptr; each = CMSG_NXTHDR(&head, each)) {
        if (each->cmsg_level != SOL_SOCKET) {
            continue;
        }
        if (each->cmsg_type == SO_TIMESTAMPNS && each->cmsg_len >= CMSG_LEN(sizeof(timespec))) {
            timespec stamp{};
            std::memcpy(&stamp, CMSG_DATA(each), sizeof stamp);
            time = nanosecondsOf(stamp);
        } else if (each->cmsg_type == SO_RXQ_OVFL && each->cmsg_len >= CMSG_LEN(sizeof(std::uint32_t))) {
            std::uint32_t total = 0;
            std::memcpy(&total, CMSG_DATA(each), sizeof total);
            dropped += std::uint32_t{total - std::exchange(latestDropCount, total)};
        }
    }
}

} // namespace rksignal
