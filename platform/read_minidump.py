"""read_minidump.py PACKAGES DUMP: what the package minidump makes of a dump, for the tests; PACKAGES is its folder."""
import logging
import sys

sys.path.insert(0, sys.argv[1])
from minidump.directory import MINIDUMP_DIRECTORY
from minidump.minidumpfile import MinidumpFile

parse_entry = MINIDUMP_DIRECTORY.parse


def parse_known_entry(file):
    """None for a stream of a type that the package does not know: it passes over those. Wine has one."""
    try:
        return parse_entry(file)
    except ValueError:
        return None


MINIDUMP_DIRECTORY.parse = staticmethod(parse_known_entry)

# It looks for Windows' own block of the process's environment, which is not in every dump.
logging.disable(logging.CRITICAL)
dump = MinidumpFile.parse(sys.argv[2])
record = dump.exception.exception_records[0]
registers = next(t.ContextObject for t in dump.threads.threads if t.ThreadId == record.ThreadId)
print(f"system {dump.sysinfo.PlatformId.name} {dump.sysinfo.CSDVersion}")
print(f"exception {record.ExceptionRecord.ExceptionCode_raw:x} {record.ThreadId}")
print("parameters", *(f"{parameter:x}" for parameter in record.ExceptionRecord.ExceptionInformation))
print(f"threads {len(dump.threads.threads)}")
print(f"registers {registers.Rip:x} {registers.Rsp:x}")
for module in dump.modules.modules:
    print(f"module {module.baseaddress:x} {module.name}")
# Of a thread that has used up its stack there is nothing at the pointer.
segments = dump.memory_segments.memory_segments if dump.memory_segments else []
if any(segment.start_virtual_address <= registers.Rsp < segment.end_virtual_address for segment in segments):
    print("stack", dump.get_reader().read(registers.Rsp, 8).hex())
