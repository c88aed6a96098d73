// One trace slot for two: the host's observers, and whatever a script or a debugger sets by
// sys.settrace.
#pragma once

// Takes sys.settrace over, for the rest of the runtime's life: what is set by it from now on gets
// its events as before, and the observers of interpreters named "python" get them too, on each
// thread on which something was set. Ahead of the import of a debugger, which keeps the function
// that it finds. Takes the runtime's lock; the runtime is up. False when it was refused.
bool ShareTrace();
