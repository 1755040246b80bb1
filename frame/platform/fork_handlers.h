// Routines that run around every fork of the process.
#pragma once

namespace korvan {

using ForkHandler = void (*)();

// `before` runs in the thread that forks, then one of the others on each side.
void addForkHandlers(ForkHandler before, ForkHandler inParent, ForkHandler inChild);

}  // namespace korvan
