#pragma once

#include <any>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engines/xnn/FunctionHandle.h"
#include "util/include/CmMutex.h"

namespace xnn::inference {

// The version of the library that the program is built for.
inline constexpr char kHeaderVersion[] = "2025.06.23-8ad6a1c(x64)";

// What a network is set up with, by name. A property of the library's type "std::filesystem::path" takes a
// std::filesystem::path, one of "std::string" a std::string.
using Properties = std::map<std::string, std::any>;

// One handle of an inference library that is loaded at run time, for one network after the other. Calls come in this
// order: init, setLogCallback, createNetwork, then setLayerData, infer and getLayerData for each frame.
//
// Every failure is a std::runtime_error; one that the library tells carries the library's text, and so does one that it
// throws, against its interface; what is thrown at the end of a handle is traced. Before init has succeeded, an
// operation raises "Please create xnn library handle first of all!", unless it says otherwise. Any thread may call:
// operations wait for each other. All texts are UTF-8.
class PluginEngine {
  public:
    PluginEngine() = default;
    PluginEngine(const PluginEngine&) = delete;
    PluginEngine& operator=(const PluginEngine&) = delete;

    // Loads the library at `library`, the path of a file of this system, and makes a handle of it with the loaders that
    // the library may use. A library of another version than kHeaderVersion is told of on the standard error stream and
    // used all the same. After a failure the engine is what it was before.
    void init(const std::filesystem::path& library, XnnLibraryLoader first, XnnLibraryLoader second);

    // One attempt of init, after the version is known: with a path in the system's code page, or with a wide one.
    void private_init(const std::string& library, XnnLibraryLoader first, XnnLibraryLoader second);
    void private_init(const std::wstring& library, XnnLibraryLoader first, XnnLibraryLoader second);

    std::vector<std::string> getSupportEngines();
    // Throws when the library has no such engine.
    void checkEngineName(const std::string& engine);
    // Name and type name of each property that a network of `engine` takes; empty before init.
    std::map<std::string, std::string> getEngineMutableProperties(const std::string& engine);

    // Creates the network `identifier` and makes it the current one. `buffers` holds the network's description and its
    // weights, which are read during the call only; an engine other than "OpenVINO" gets the first one alone. A
    // property that the engine does not take, or not with a value of that type, stops the call before anything is
    // created.
    void createNetwork(const std::string& engine, const std::string& identifier, const std::string& device,
                       const std::vector<std::string_view>& buffers, const Properties& properties);

    // Layers of the current network.
    std::vector<uint64_t> getLayerDims(const std::string& layer);
    // In the library's memory: valid until the next inference or until the network or the engine goes.
    float* getLayerData(const std::string& layer);
    // Input for the next inference, copied during the call: as many floats as the dimensions multiply to.
    void setLayerData(const std::string& layer, const float* data, const std::vector<uint64_t>& dims);
    // One inference; returns when it has ended.
    void infer();

    // Where the library's log lines go, from any thread of the library; empty to stop. There is one such callback in
    // the process, for all engines: a new one takes the place of the one before, which may still be running then and is
    // destroyed after its last call. It outlives the engine and must not use it; what it throws to the library is
    // dropped. With a library of another version its first line, which this call tells, says so. Does nothing with a
    // library that has no log.
    void setLogCallback(std::function<void(const std::string&)> callback);

    // Raises the exception that is pending in the library, if any. Does nothing before init.
    void checkException();

    // The library's version.
    std::string version();

  private:
    template <class Path>
    void createHandle(const Path& library, const std::string& form, XnnLibraryLoader first, XnnLibraryLoader second)
        ZEL_REQUIRES(mMutex);
    void requireHandle() const ZEL_REQUIRES(mMutex);
    void setProperties(const std::string& engine, const std::string& identifier, const Properties& properties)
        ZEL_REQUIRES(mMutex);
    void setProperty(const std::string& engine, const std::string& identifier, const std::string& name,
                     const std::string& type, const std::any& value) ZEL_REQUIRES(mMutex);

    // In this order, since the handle must go before the table that its deleter calls.
    std::shared_ptr<FunctionHandle> mFunctions ZEL_GUARDED_BY(mMutex);
    std::shared_ptr<void> mHandle ZEL_GUARDED_BY(mMutex);
    cm::RecursiveMutex mMutex;
    std::string mLibraryVersion ZEL_GUARDED_BY(mMutex);
};

}  // namespace xnn::inference
