#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "plugins/xnn/Answers.h"
#include "plugins/xnn/LogThread.h"
#include "plugins/xnn/Network.h"
#include "plugins/xnn/PendingException.h"
#include "plugins/xnn/Runtime.h"

namespace xnn {

inline constexpr const char* kEngine = "OpenVINO";  // the only one

// A model in files; a model of one file has an empty second path.
struct ModelFiles {
    std::filesystem::path first;
    std::filesystem::path second;
};

// What lies behind a handle of the interface. Failures are std::runtime_error and change nothing. One thread at a time.
class Handle {
  public:
    Handle();

    PendingException& pending() { return mPending; }
    LogThread& log() { return mLog; }
    const Core& core() const { return mCore; }

    // Raises when there is no such engine.
    static void checkEngine(const std::string& engine);
    const std::vector<std::string>& devices();

    void setProperty(const std::string& identifier, const std::string& name, const std::string& type,
                     const void* value);

    // `request` without its settings, which are those that were set for its identifier.
    void createNetwork(NetworkRequest request);
    // The same with the bytes of the files.
    void createNetwork(NetworkRequest request, const ModelFiles& files);
    void removeNetwork(const std::string& identifier);
    void switchNetwork(const std::string& identifier) { mCurrent = &network(identifier); }

    const std::vector<std::unique_ptr<Network>>& networks() const { return mNetworks; }
    const Network& network(const std::string& identifier) const { return *mNetworks[indexOf(identifier)]; }
    const Network& current() const;

    void registerModel(const std::string& id, ModelFiles files);
    void unregisterModel(const std::string& id);
    const ModelFiles& model(const std::string& id) const;

    // Of a device by the caller's name for it.
    std::vector<std::string> devicePropertyNames(const std::string& device) const;
    std::string deviceProperty(const std::string& device, const std::string& name) const;

    Answer<std::string>& textAnswer() { return mTextAnswer; }
    Answer<NumberMap>& mapAnswer() { return mMapAnswer; }

  private:
    size_t indexOf(const std::string& identifier) const;
    void place(std::unique_ptr<Network> network);

    PendingException mPending;
    LogThread mLog;
    Core mCore;
    std::vector<std::string> mDevices;                // empty until asked for
    std::map<std::string, Settings> mSettings;        // by identifier, for the creation that follows
    std::map<std::string, ModelFiles> mModels;        // by inner id
    std::vector<std::unique_ptr<Network>> mNetworks;  // in the order of their creation
    const Network* mCurrent = nullptr;
    Answer<std::string> mTextAnswer;
    Answer<NumberMap> mMapAnswer;
};

// The version of the model format that a file tells.
std::string modelVersion(const std::filesystem::path& file);

}  // namespace xnn
