#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

// Libraries, processor, adapters and messages of the system. Any thread may call all of it. Paths are UTF-8. Status
// integers are 0 for success.

// Where kmo_load_library_s looks for a path that is not absolute.
enum enPathAppendType {
    enPathAppendNone = 0,          // as it is: a bare name is searched the system's way
    enPathAppendProgram = 1,       // in the program's own directory only
    enPathAppendProgramFirst = 2,  // in the program's own directory, then as with enPathAppendNone
};

// Loads a library. A file name that ends in ".dll" is the told name and becomes this system's ("xnn.dll" is "libxnn.so"
// on Linux). With `dependenciesBeside`, what the library needs is looked for in its own directory first. Null on
// failure; platform::lastLibraryError then gives the system's error number.
void* kmo_load_library_s(const char* path, enPathAppendType type, bool dependenciesBeside);
// Lets a library go; null is ignored.
void kmo_free_library_s(void* library);

// Writes the form of a path that is fit for logs: the user's home directory (HOME or USERPROFILE) at its start becomes
// "~", so that a log carries no user's name. Terminated; cut to whole characters when `size` is too small, with the
// result ERANGE. EINVAL for a null argument or a size of 0.
int kmo_get_filepath_trace(const char* path, char* out, size_t size);

// While one of these lives, every library that kmo_load_library_s loads and kmo_free_library_s lets go of is traced at
// level 2.
class kmo_AutoDllNotification_s {
  public:
    kmo_AutoDllNotification_s();
    ~kmo_AutoDllNotification_s();
    kmo_AutoDllNotification_s(const kmo_AutoDllNotification_s&) = delete;
    kmo_AutoDllNotification_s& operator=(const kmo_AutoDllNotification_s&) = delete;
};

// The system's words for its error numbers.
class CSystemMessageHelper {
  public:
    static CSystemMessageHelper* Instance();

    // Turns the words on or off; off until the first call.
    void Init(bool words);

    // "126 (words of the system)" when they are on, "126" otherwise: for a line of trace.
    std::string describe(unsigned long error) const;

  private:
    CSystemMessageHelper() = default;
    std::atomic<bool> m_words{false};
};

// Physical cores and logical processors. Non-zero, and nothing written, when they cannot be told.
int get_cpu_core(unsigned& physical, unsigned& logical);
// Nominal clock of the first processor in MHz. Non-zero, and nothing written, when it cannot be told.
int get_cpu_frequency(unsigned& megahertz);

// Graphics adapters in the system's order, one entry in each vector: name with the vendor's word, dedicated memory in
// MiB (0: none or unknown), driver version ("": unknown). `versions` may be null. What the vectors held is replaced.
int getGpuInfo(std::vector<std::string>& names, std::vector<unsigned>& memory, std::vector<std::string>* versions);
