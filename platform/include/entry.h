#pragma once

// The program's entry. A program defines wWinMain; the system calls it on Windows, and on Linux the platform's own main
// does, with the arguments joined by single spaces as the command line and null for both instances.
extern "C" int wWinMain(void* instance, void* previous, wchar_t* commandLine, int show);
