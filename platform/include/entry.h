#pragma once

// The program's entry. A program defines wWinMain; the system calls it on Windows, and on Linux the platform's own main
// does, with the arguments joined by single spaces as the command line and null for both instances. There standard
// streams that are closed are empty ones, and writing where nobody reads is an error, not the process's end.
extern "C" int wWinMain(void* instance, void* previous, wchar_t* commandLine, int show);
