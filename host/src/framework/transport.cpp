#include "orv/framework/transport.h"

namespace orv::framework {

ITransport::~ITransport() = default;

}  // namespace orv::framework
