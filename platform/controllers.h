#pragma once

namespace platform {

// Connects every controller with the drivers that serve it, and what they make
// of it: a firmware that boots fast leaves alone what it does not need itself.
void ConnectAllControllers();

}  // namespace platform
