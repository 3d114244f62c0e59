// Signals as calls on threads of their own, where what they ask for may log and lock.
#pragma once

// Keeps the signal from the calling thread and from all that it starts from now on. Main thread, before there
// is another.
void HoldSignal(int signal);

// Starts a detached thread that calls `handler` each time that the process is sent the signal, which is held;
// one that came before counts. The thread does nothing else, so a handler that waits holds up no other
// signal. False when there is no thread to be had.
[[nodiscard]] bool StartSignalThread(int signal, void (*handler)());
