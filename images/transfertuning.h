#pragma once

/// Pictures come and go by the megabyte. Lets the process keep the memory of a few of them, instead
/// of handing it back to the kernel and having it cleared anew for the next one. Called again it
/// does nothing.
void keepPictureMemory();

/// Lets the TCP connections to a port send the end of a file at once. Without that it waits for the
/// confirmation of what went before, which a server may hold back for 40 ms.
void sendWithoutDelay(int port);

/// Cuts the connections to a port on which more has come than anybody reads. Header lines without
/// end hold the thread that reads them up, which then hears of no abort.
void cutFlooded(int port);
