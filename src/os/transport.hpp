#pragma once

namespace elvantris::operator_control {

enum class transport { tcp, udp };

} // namespace elvantris::operator_control
