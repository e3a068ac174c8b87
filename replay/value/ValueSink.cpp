#include "value/ValueSink.h"

namespace rksignal {

ValueSink::~ValueSink() = default;

} // namespace rksignal
