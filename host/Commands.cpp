#include <cstring>

#include "host/ZELHostUtils.h"
#include "host/ZelMLHost.h"
#include "util/include/CmMemory.h"
#include "util/include/CmSystem.h"
#include "util/include/CmTrace.h"

namespace {

// The text of a command as a string; the field need not be terminated.
std::string boundedText(const ipc::Command& command) {
    const char* text = reinterpret_cast<const char*>(command.text);
    return std::string(text, strnlen(text, sizeof command.text));
}

void fillInitReply(ipc::Event& event) {
    const uint32_t words[] = {1, 0, 0, static_cast<uint32_t>(CmGetProcessID()), 1};
    event.code = static_cast<uint32_t>(ipc::EventCode::InitClientReply);
    std::memcpy(event.text, words, sizeof words);
}

// A path that lacks room for its terminator is refused as a whole.
void storePath(char (&destination)[256], const std::string& path) {
    cm::checkedCopy(destination, sizeof destination, path.c_str(), path.size() + 1);
}

}  // namespace

void ZelMLHost::onIpcCommand(const ipc::packet<ipc::Command>& packet) {
    const ipc::Command command = packet.record;
    switch (static_cast<ipc::CommandCode>(command.code)) {
        case ipc::CommandCode::InitClient: {
            uint32_t pid = 0;
            std::memcpy(&pid, command.text, sizeof pid);
            QOR_INFO("zelipc>> ZelMLHost::onIpcCommand, InitClient, pid=" << pid);
            sendEvent("", fillInitReply);
            break;
        }
        case ipc::CommandCode::FiniClient:
            QOR_INFO("ZelMLHost::onIpcCommand, FiniClient");
            break;
        case ipc::CommandCode::SetModelPath: {
            const std::string path = boundedText(command);
            QOR_INFO(" zelipc>> ZelMLHost::onIpcCommand, SetModelPath received, modelpath = " << path);
            const auto pathKind = static_cast<ipc::PathKind>(command.pathKind);
            if (pathKind == ipc::PathKind::XnnLibrary) storePath(mXnnLibPath, path);
            if (pathKind == ipc::PathKind::Model) storePath(mModelPath, path);
            break;
        }
        case ipc::CommandCode::SetModelType:
            QOR_INFO(" zelipc>> ZelMLHost::onIpcCommand, SetModelType received, type = "
                     << command.arg0 << ", devCapacity = " << command.arg1);
            setModelType(command.arg0, command.arg1);
            break;
        case ipc::CommandCode::SetOption:
            setOption(command.arg0, static_cast<uint8_t>(command.text[0]));
            break;
        case ipc::CommandCode::HeartBeatAck:
            mHeartBeatMisses = 0;
            break;
        case ipc::CommandCode::Terminate:
            QOR_INFO("ZelMLHost::onIpcCommand, Terminate received");
            teardown();
            break;
        case ipc::CommandCode::SwitchEngine:
            QOR_INFO("zelipc>> ZelMLHost::onIpcCommand, SwitchEngine received, engine = "
                     << command.arg0 << ", device = " << command.arg1);
            break;
        default:
            break;
    }
}

void ZelMLHost::setOption(uint32_t optionNumber, uint8_t option) {
    QOR_INFO("zelipc:setOption start" << CM_THIS);
    if (static_cast<ipc::OptionNumber>(optionNumber) != ipc::OptionNumber::AutoSkipVBG) return;
    QOR_INFO("zelipc:setOption AutoSkipVBG: " << static_cast<unsigned>(option) << CM_THIS);
    if (const auto helper = helperOf(m_pVinoHelper)) helper->setAutoSkipVBG(option != 0);
    if (const auto helper = helperOf(m_pLadonVinoHelper)) helper->frames().setAutoSkipVBG(option != 0);
    if (const auto helper = helperOf(m_pLadonXnnHelper)) helper->frames().setAutoSkipVBG(option != 0);
}
