#include "detect/RowNetworks.h"

#include <cstring>
#include <numeric>

#include "tests/support/IrText.h"

namespace row_networks {

namespace {

using namespace ir_text;

int elements(const Dims& dims) {
    return std::accumulate(dims.begin(), dims.end(), 1, std::multiplies<>());
}

// Constants of the network, and where they lie.
class Weights {
  public:
    template <class T>
    std::string add(const std::string& type, const std::vector<T>& values, const Dims& dims) {
        const size_t offset = mBytes.size(), size = values.size() * sizeof(T);
        mBytes.resize(offset + size);
        std::memcpy(mBytes.data() + offset, values.data(), size);
        return constant(type, dims, offset, size);
    }
    std::shared_ptr<const std::vector<uint8_t>> bytes() const {
        return std::make_shared<const std::vector<uint8_t>>(mBytes);
    }

  private:
    std::vector<uint8_t> mBytes;
};

std::vector<int64_t> wide(const Dims& dims) {
    return {dims.begin(), dims.end()};
}

class Graph {
  public:
    explicit Graph(const Options& options) : mOptions(options) {}

    mask_networks::Pair make() {
        for (int i = 0; i < mOptions.inputs; ++i) {
            mLayers += layer(nextId(), "input" + std::to_string(i), "Parameter", parameter(mOptions.input), "",
                             port(0, "FP32", mOptions.input));
        }
        const int all = elements(mOptions.input);
        const int flat = reshape("flat", 0, 0, mOptions.input, {all});
        Dims lengths;
        for (const Output& output : mOptions.outputs) lengths.push_back(elements(output.shape));
        lengths.push_back(all - std::accumulate(lengths.begin(), lengths.end(), 0));
        const int parts = split(flat, all, lengths);
        int port = 3;
        for (const Output& output : mOptions.outputs) finish(parts, port++, output);
        return {network("Rows", mLayers, mEdges), mWeights.bytes()};
    }

  private:
    int nextId() { return mIds++; }

    template <class T>
    int constantLayer(const std::string& name, const std::string& type, const std::string& precision,
                      const std::vector<T>& values, const Dims& dims) {
        const int id = nextId();
        mLayers += layer(id, name, "Const", mWeights.add(type, values, dims), "", port(0, precision, dims));
        return id;
    }

    int reshape(const std::string& name, int from, int fromPort, const Dims& before, const Dims& after) {
        const Dims rank{static_cast<int>(after.size())};
        const int shape = constantLayer(name + "_shape", "i64", "I64", wide(after), rank);
        const int id = nextId();
        mLayers += layer(id, name, "Reshape", "special_zero=\"false\"", port(0, "FP32", before) + port(1, "I64", rank),
                         port(2, "FP32", after));
        mEdges += edge(from, fromPort, id, 0) + edge(shape, 0, id, 1);
        return id;
    }

    int split(int from, int all, const Dims& lengths) {
        const Dims count{static_cast<int>(lengths.size())};
        const int axis = constantLayer("axis", "i64", "I64", std::vector<int64_t>{0}, {1});
        const int sizes = constantLayer("lengths", "i64", "I64", wide(lengths), count);
        std::string outputs;
        int number = 3;
        for (const int length : lengths) outputs += port(number++, "FP32", {length});
        const int id = nextId();
        mLayers += layer(id, "parts", "VariadicSplit", "",
                         port(0, "FP32", {all}) + port(1, "I64", {1}) + port(2, "I64", count), outputs);
        mEdges += edge(from, 2, id, 0) + edge(axis, 0, id, 1) + edge(sizes, 0, id, 2);
        return id;
    }

    void finish(int parts, int partsPort, const Output& output) {
        const std::string name = output.name;
        int last = reshape(mOptions.factors.empty() ? name : name + "_rows", parts, partsPort, {elements(output.shape)},
                           output.shape);
        if (!mOptions.factors.empty()) {
            const Dims columns{output.shape.back()};
            const int factors = constantLayer("factors", "f32", "FP32", mOptions.factors, columns);
            const int id = nextId();
            mLayers += layer(id, name, "Multiply", "auto_broadcast=\"numpy\"",
                             port(0, "FP32", output.shape) + port(1, "FP32", columns), port(2, "FP32", output.shape));
            mEdges += edge(last, 2, id, 0) + edge(factors, 0, id, 1);
            last = id;
        }
        const int id = nextId();
        mLayers += layer(id, name + "/sink_port_0", "Result", "", port(0, "FP32", output.shape), "");
        mEdges += edge(last, 2, id, 0);
    }

    const Options& mOptions;
    Weights mWeights;
    std::string mLayers;
    std::string mEdges;
    int mIds = 0;
};

}  // namespace

mask_networks::Pair make(const Options& options) {
    return Graph(options).make();
}

Options faces() {
    return {{1, 3, 90, 160}, {{"scores", {1, 690, 2}}, {"boxes", {1, 690, 4}}}, {}, 1};
}

Options content() {
    return {{1, 3, 512, 512}, {{"output", {1, 16128, 9}}}, {512, 512, 512, 512, 1, 1, 1, 1, 1}, 1};
}

}  // namespace row_networks
