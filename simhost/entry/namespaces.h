#pragma once

namespace simhost {

// Gives this process mounts, inter-process communication and a host name of its own, and its next
// child a process table of its own. A caller who may not do so as he is becomes root of a user
// namespace that holds nobody but him.
void enter_namespaces();

}  // namespace simhost
