#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The part of the older InferenceEngine interface that the helpers are written against, as a thin layer over the
// runtime's C API. Includers see nothing of that API.
//
// Handles (Core, CNNNetwork, ExecutableNetwork, InferRequest) are cheap to copy; copies share one object. A default
// constructed handle other than Core is empty, and using it raises InferenceEngineException with NOT_ALLOCATED.
// Every failure of the runtime raises details::InferenceEngineException, whose text names the step, the network and the
// device.
namespace InferenceEngine {

enum StatusCode : int {
    OK = 0,
    GENERAL_ERROR = -1,
    NOT_IMPLEMENTED = -2,
    NETWORK_NOT_LOADED = -3,
    PARAMETER_MISMATCH = -4,
    NOT_FOUND = -5,
    OUT_OF_BOUNDS = -6,
    UNEXPECTED = -7,
    REQUEST_BUSY = -8,
    RESULT_NOT_READY = -9,
    NOT_ALLOCATED = -10,
    INFER_NOT_STARTED = -11,
    NETWORK_NOT_READ = -12,
    INFER_CANCELLED = -13,
};

namespace details {

class InferenceEngineException : public std::exception {
  public:
    explicit InferenceEngineException(std::string text, StatusCode status = GENERAL_ERROR)
        : mText(std::move(text)), mStatus(status) {}
    const char* what() const noexcept override { return mText.c_str(); }
    StatusCode getStatus() const noexcept { return mStatus; }

  private:
    std::string mText;
    StatusCode mStatus;
};

}  // namespace details

enum class Precision : uint8_t { UNSPECIFIED = 255, FP32 = 10, FP16 = 11, U8 = 40, I32 = 70 };
enum class Layout : uint8_t { ANY = 0, NCHW = 1, NHWC = 2, NCDHW = 3, SCALAR = 95, C = 96, CHW = 128, NC = 193 };
enum ColorFormat : uint32_t { RAW = 0, RGB = 1, BGR = 2 };

using SizeVector = std::vector<size_t>;

class TensorDesc {
  public:
    TensorDesc() = default;
    TensorDesc(Precision precision, SizeVector dims, Layout layout)
        : mPrecision(precision), mLayout(layout), mDims(std::move(dims)) {}
    Precision getPrecision() const { return mPrecision; }
    Layout getLayout() const { return mLayout; }
    const SizeVector& getDims() const { return mDims; }

  private:
    Precision mPrecision = Precision::UNSPECIFIED;
    Layout mLayout = Layout::ANY;
    SizeVector mDims;
};

// An address that is read as the type that the caller names: blob->buffer().as<float*>().
class LockedMemory {
  public:
    explicit LockedMemory(void* address) : mAddress(address) {}
    template <class Pointer>
    Pointer as() const {
        return static_cast<Pointer>(mAddress);
    }

  private:
    void* mAddress;
};

class ConstLockedMemory {
  public:
    explicit ConstLockedMemory(const void* address) : mAddress(address) {}
    template <class Pointer>
    Pointer as() const {
        return static_cast<Pointer>(mAddress);
    }

  private:
    const void* mAddress;
};

// A tensor's description and its memory. A blob never owns memory here: it wraps what the engine or the caller owns.
class Blob {
  public:
    using Ptr = std::shared_ptr<Blob>;
    using CPtr = std::shared_ptr<const Blob>;

    virtual ~Blob() = default;
    const TensorDesc& getTensorDesc() const { return mDesc; }
    // Product of the dimensions: elements, whatever their size in bytes.
    size_t size() const;
    size_t byteSize() const { return size() * elementSize(); }
    virtual size_t elementSize() const = 0;
    // For writing; raises for a blob over constant memory.
    LockedMemory buffer() const;
    ConstLockedMemory cbuffer() const { return ConstLockedMemory(mMemory); }

  protected:
    Blob(TensorDesc desc, const void* memory, bool writable);

  private:
    TensorDesc mDesc;
    const void* mMemory;
    bool mWritable;
};

template <class T>
class TBlob : public Blob {
  public:
    using Ptr = std::shared_ptr<TBlob<T>>;
    TBlob(const TensorDesc& desc, T* memory) : Blob(desc, memory, true) {}
    TBlob(const TensorDesc& desc, const T* memory) : Blob(desc, memory, false) {}
    size_t elementSize() const override { return sizeof(T); }
    T* data() const { return buffer().template as<T*>(); }
    const T* readOnly() const { return cbuffer().template as<const T*>(); }
};

// Wraps the caller's memory without a copy; it must hold what `desc` says for as long as the blob's contract asks.
// (Weights are the exception to the size: see Core::ReadNetwork.)
template <class T>
typename TBlob<T>::Ptr make_shared_blob(const TensorDesc& desc, T* memory) {
    return std::make_shared<TBlob<T>>(desc, memory);
}
template <class T>
typename TBlob<T>::Ptr make_shared_blob(const TensorDesc& desc, const T* memory) {
    return std::make_shared<TBlob<T>>(desc, memory);
}

// An input's or output's tensor as the network declares it: FP32 always, and NCHW (NC, CHW ... by rank). setPrecision
// and setLayout confirm what already holds and raise PARAMETER_MISMATCH for anything else.
class Data {
  public:
    Data(std::string name, TensorDesc desc) : mName(std::move(name)), mDesc(std::move(desc)) {}
    const std::string& getName() const { return mName; }
    const TensorDesc& getTensorDesc() const { return mDesc; }
    const SizeVector& getDims() const { return mDesc.getDims(); }
    Precision getPrecision() const { return mDesc.getPrecision(); }
    Layout getLayout() const { return mDesc.getLayout(); }
    void setPrecision(Precision precision) const;
    void setLayout(Layout layout) const;

  private:
    std::string mName;
    TensorDesc mDesc;
};
using DataPtr = std::shared_ptr<Data>;

// The colour format is a note only: channel c of a blob stays channel c.
class PreProcessInfo {
  public:
    void setColorFormat(ColorFormat format) { mColorFormat = format; }
    ColorFormat getColorFormat() const { return mColorFormat; }

  private:
    ColorFormat mColorFormat = ColorFormat::RAW;
};

class InputInfo {
  public:
    using Ptr = std::shared_ptr<InputInfo>;
    explicit InputInfo(DataPtr data) : mData(std::move(data)) {}
    const std::string& name() const { return mData->getName(); }
    const TensorDesc& getTensorDesc() const { return mData->getTensorDesc(); }
    Precision getPrecision() const { return mData->getPrecision(); }
    Layout getLayout() const { return mData->getLayout(); }
    void setPrecision(Precision precision) const { mData->setPrecision(precision); }
    void setLayout(Layout layout) const { mData->setLayout(layout); }
    PreProcessInfo& getPreProcess() { return mPreProcess; }
    DataPtr getInputData() const { return mData; }

  private:
    DataPtr mData;
    PreProcessInfo mPreProcess;
};

// Maps iterate in name order. Outputs go by the short name: a layer "NAME/sink_port_0" is "NAME".
using InputsDataMap = std::map<std::string, InputInfo::Ptr>;
using OutputsDataMap = std::map<std::string, DataPtr>;
using ConfigMap = std::map<std::string, std::string>;

namespace details {
class CoreImpl;
class NetworkImpl;
class ExecutableImpl;
class RequestImpl;
}  // namespace details

// A network as read. Const operations may run on several threads, LoadNetwork included.
class CNNNetwork {
  public:
    CNNNetwork() = default;
    explicit CNNNetwork(std::shared_ptr<details::NetworkImpl> impl) : mImpl(std::move(impl)) {}
    // Copies of the maps; the entries are the network's own.
    InputsDataMap getInputsInfo() const;
    OutputsDataMap getOutputsInfo() const;
    // Dimension 0 of the first input.
    size_t getBatchSize() const;
    // Confirms the present batch size; another one raises NOT_IMPLEMENTED.
    void setBatchSize(size_t size);
    // The `name` attribute of the network's XML.
    const std::string& getName() const;

  private:
    friend class Core;
    std::shared_ptr<details::NetworkImpl> mImpl;
};

// One inference at a time; one thread at a time, except that Cancel may come from any thread. After its creation no
// operation allocates memory of its own.
class InferRequest {
  public:
    enum WaitMode : int64_t { RESULT_READY = -1, STATUS_ONLY = 0 };

    InferRequest() = default;
    explicit InferRequest(std::shared_ptr<details::RequestImpl> impl) : mImpl(std::move(impl)) {}
    // The engine's own memory behind an input or output, the same address for the life of the request. Raises NOT_FOUND
    // for a name that the network does not have, REQUEST_BUSY while an inference runs.
    Blob::Ptr GetBlob(const std::string& name) const;
    // Runs one inference to its end.
    void Infer();
    // Starts one inference; raises REQUEST_BUSY while another is running.
    void StartAsync();
    // Waits at most `timeoutMs`, or without limit for RESULT_READY. Returns OK, RESULT_NOT_READY, INFER_NOT_STARTED
    // or INFER_CANCELLED; raises for any other outcome.
    StatusCode Wait(int64_t timeoutMs) const;
    // Asks the running inference to stop; its Wait then returns INFER_CANCELLED, or OK when it was too late.
    void Cancel();

  private:
    std::shared_ptr<details::RequestImpl> mImpl;
};

// A network compiled for a device. Requests keep it alive. Any thread.
class ExecutableNetwork {
  public:
    ExecutableNetwork() = default;
    explicit ExecutableNetwork(std::shared_ptr<details::ExecutableImpl> impl) : mImpl(std::move(impl)) {}
    InferRequest CreateInferRequest();

  private:
    std::shared_ptr<details::ExecutableImpl> mImpl;
};

// Reads and loads networks. Any thread, several at once. Settings belong to one Core and are never cleared.
class Core {
  public:
    // `xmlConfigFile` names a plug-in list; "" lets the runtime find its plug-ins by its own default.
    explicit Core(const std::string& xmlConfigFile = std::string());

    // Reads an IR of version 10 or 11. weights->size() is the length in bytes, whatever its precision says, and the
    // memory is wrapped, not copied. The network and what is loaded from it may go on reading that memory: it must
    // stay valid and unchanged for as long as a CNNNetwork, ExecutableNetwork or InferRequest of it lives. The blob
    // object itself is kept alive by them.
    CNNNetwork ReadNetwork(const std::string& model, const Blob::CPtr& weights) const;

    // Compiles `network` for `deviceName` with the settings made for that name, then those of `config`. May take
    // seconds; holds no lock that another load waits for.
    ExecutableNetwork LoadNetwork(const CNNNetwork& network, const std::string& deviceName,
                                  const ConfigMap& config = {});

    // Settings for later LoadNetwork calls on `deviceName`; a later value of a key replaces the earlier one. Old keys
    // are translated to today's. A key that the device does not know is dropped at the load, with one line on stderr
    // per key.
    void SetConfig(const ConfigMap& config, const std::string& deviceName);

    // What SetConfig has stored for `deviceName` under today's key, "" when nothing.
    std::string GetConfig(const std::string& deviceName, const std::string& key) const;

  private:
    std::shared_ptr<details::CoreImpl> mImpl;
};

}  // namespace InferenceEngine
