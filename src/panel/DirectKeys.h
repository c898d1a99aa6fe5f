#pragma once

namespace ovalin {

/// Has keys reach our windows without a detour: while any program listens to the accessibility tree, Qt hands each key
/// to the accessibility registry first and waits for its answer, up to 100 ms each. Called by each window
/// that opens. Main thread.
void deliverKeysDirectly();

} // namespace ovalin
