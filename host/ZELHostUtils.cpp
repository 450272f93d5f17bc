#include "host/ZELHostUtils.h"

#include "crash/CrashFiles.h"
#include "engines/vino/DevicePolicy.h"
#include "host/CommandLine.h"
#include "host/ZelMLHost.h"
#include "ipc/channel_names.h"
#include "platform/include/exception_filter.h"
#include "platform/include/kernel_objects.h"
#include "platform/include/module.h"
#include "platform/include/process.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

namespace {

const std::string kDefaultDevice = "CPU";
std::string gClientProcessId;
std::string gClientInstanceId;
int gProcessId = 0;

void forwardToHost(unsigned long level, char* text, unsigned length) {
    ZelMLHost::instance().sendLog(static_cast<uint32_t>(level), text, length);
}

std::string resolveDevice(const std::string& asked) {
    if (!asked.empty()) return asked;
    return CheckGPUSupported() ? "GPU" : kDefaultDevice;
}

void runHost(const std::string& commandLine, const std::string& ipc_id) {
    ZelMLHost& host = ZelMLHost::instance();
    host.setLastResort([] {
        platform::yieldToFilter();
        platform::endProcess(0);
    });
    if (!host.init(ipc_id)) return;
    set_util_external_trace_sink(forwardToHost);
    QOR_INFO("zelipc>>ZELHostUtils::ZELHostInit: cmdLine = " << commandLine);
    host.listenOnFrame();
    host.run();
    host.teardown();
    set_util_external_trace_sink(nullptr);
}

}  // namespace

namespace ZELHostUtils {

void ZELHostInit(const std::string& commandLine) {
    gProcessId = CmGetProcessID();
    CCmKlxTrace::instance()->Init();
    CSystemMessageHelper::Instance()->Init(true);
    QOR_INFO("zelipc>>ZELHostUtils::ZELHostInit: cmdLine = " << commandLine);
    gClientProcessId = commandLineValue(commandLine, "PID");
    gClientInstanceId = commandLineValue(commandLine, "MID");
    setCrashFileIds(gClientProcessId, gClientInstanceId);
    const std::string log = commandLineValue(commandLine, "LOG");
    resolveDevice(commandLineValue(commandLine, "DEV"));
    if (!log.empty()) validateDecimal(log);
    platform::sweepAbandonedObjects();
    runHost(commandLine, ipc::channelBaseName(gClientProcessId, gClientInstanceId));
}

const std::string& clientProcessId() {
    return gClientProcessId;
}
const std::string& clientInstanceId() {
    return gClientInstanceId;
}
int storedProcessId() {
    return gProcessId;
}

}  // namespace ZELHostUtils
