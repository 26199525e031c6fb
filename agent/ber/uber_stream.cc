#include "agent/ber/uber_stream.h"

#include <iomanip>
#include <ostream>

namespace snmp {

void UberStream::dump(std::ostream& stream) const {
    const char fill = stream.fill('0');
    stream << std::hex;
    for (size_t i = 0; i < size_; ++i) {
        stream << std::setw(2) << unsigned{data_[i]} << ' ';
        if (i % 16 == 15) stream << '\n';
    }
    stream << std::dec << '\n';
    stream.fill(fill);
}

}  // namespace snmp
