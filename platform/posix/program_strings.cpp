#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "platform/include/resource.h"
#include "platform/posix/resource_table.h"

namespace platform {

namespace {

size_t paddedToWord(size_t size) {
    return (size + 3) / 4 * 4;
}

// The text of the version note among the notes of one segment, "" when it is not there.
std::string versionInNotes(const char* notes, size_t size) {
    while (size >= sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) header;
        std::memcpy(&header, notes, sizeof header);
        const size_t textAt = sizeof header + paddedToWord(header.n_namesz);
        const size_t next = textAt + paddedToWord(header.n_descsz);
        if (next > size) break;
        if (header.n_type == kZelVersionNoteType && header.n_namesz == sizeof kZelVersionNoteOwner &&
            std::memcmp(notes + sizeof header, kZelVersionNoteOwner, sizeof kZelVersionNoteOwner) == 0) {
            return std::string(notes + textAt, strnlen(notes + textAt, header.n_descsz));
        }
        notes += next;
        size -= next;
    }
    return "";
}

// The first object that is walked over is the program itself; the walk ends behind it.
int readProgramVersion(dl_phdr_info* program, size_t, void* result) {
    std::string& version = *static_cast<std::string*>(result);
    for (int i = 0; i < program->dlpi_phnum && version.empty(); ++i) {
        const ElfW(Phdr)& segment = program->dlpi_phdr[i];
        if (segment.p_type != PT_NOTE) continue;
        version = versionInNotes(reinterpret_cast<const char*>(program->dlpi_addr + segment.p_vaddr), segment.p_memsz);
    }
    return 1;
}

const wchar_t* findString(int id) {
    if (!&zel_string_count) return nullptr;
    const ZelString* end = zel_string_table + zel_string_count;
    const ZelString* found = std::find_if(zel_string_table, end, [id](const ZelString& s) { return s.id == id; });
    return found == end ? nullptr : found->text;
}

}  // namespace

int loadString(int id, wchar_t* buffer, int capacity) {
    if (capacity <= 0) return 0;
    const wchar_t* text = findString(id);
    const size_t length = text ? std::min(std::wcslen(text), static_cast<size_t>(capacity) - 1) : 0;
    if (length) std::wmemcpy(buffer, text, length);
    buffer[length] = L'\0';
    return static_cast<int>(length);
}

std::string productVersion() {
    std::string version;
    dl_iterate_phdr(readProgramVersion, &version);
    return version;
}

}  // namespace platform
