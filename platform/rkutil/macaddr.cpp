#include "rkutil/macaddr.h"

#include "rkutil/hexOctet.h"

void macaddr_t::print(std::ostream& out) const {
    for (int shift = 40; shift >= 0; shift -= 8) {
        hexOctet(out, static_cast<std::uint8_t>(address >> shift));
        if (shift != 0) {
            out.put(':');
        }
    }
}
