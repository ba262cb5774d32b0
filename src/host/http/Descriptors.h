#pragma once

namespace host {

/// Raises the process's bound on open files as far as it may, and gives how many of the wanted connections fit into it
/// beside all else that the server has open; logs it when that is fewer.
unsigned int makeRoomForConnections(unsigned int wanted);

}  // namespace host
