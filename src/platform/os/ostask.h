#pragma once

// Threads that use the platform's semaphores and message tasks register themselves first.
// Attaching twice from one thread counts once; detaching a thread that never attached does
// nothing.
void osTaskAttach();
void osTaskDetach();
// Number of threads attached right now.
int osTaskAttachedCount();
