#include "engines/vino/LadonNetworks.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

#include "tests/support/IrText.h"

namespace ladon_networks {

namespace {

using namespace ir_text;

int elements(const Dims& dims) {
    return std::accumulate(dims.begin(), dims.end(), 1, std::multiplies<>());
}

// A layer's output.
struct Value {
    int layer;
    int port;
    Dims dims;
    const char* precision = "FP32";
};

class Graph {
  public:
    explicit Graph(const Options& options) : mOptions(options) {}

    mask_networks::Pair make() {
        const Dims picture{1, 4, mOptions.height, mOptions.width};
        std::vector<Value> inputs;
        for (int i = 0; i < mOptions.inputs; ++i) {
            const int id = mIds++;
            mLayers += layer(id, i == 0 ? "input" : "input" + std::to_string(i), "Parameter", parameter(picture), "",
                             port(0, "FP32", picture));
            inputs.push_back({id, 0, picture});
        }
        makeMask(inputs[0]);
        const Dims& faces = mOptions.landmarks;
        Dims lengths{elements(mOptions.gesture), faces[faces.size() - 2], elements(mOptions.motion)};
        const bool hasTable = !mOptions.lut.empty();
        if (hasTable) lengths.insert(lengths.end(), {1, 1, elements(mOptions.lutConfidence)});
        const std::vector<Value> parts = split(inputs[0], lengths);
        makeGesture(parts[0]);
        makeLandmarks(parts[1]);
        makeEighths("motion", parts[2], mOptions.motion);
        if (hasTable) {
            makeRamp("lut", parts[3], mOptions.lut);
            makeRamp("lut_vertices", parts[4], mOptions.lutVertices);
            makeEighths("lut_confidence", parts[5], mOptions.lutConfidence);
        }
        return {network(mOptions.name, mLayers, mEdges), std::make_shared<const std::vector<uint8_t>>(mWeights)};
    }

  private:
    void makeMask(const Value& picture) {
        const Value product = binary("product", "Multiply", picture, floats(mOptions.factors, {1, 4, 1, 1}));
        const Value axis = integers({1});
        finish("segmentation", [&](const std::string& name) {
            return add(name, "ReduceSum", "keep_dims=\"true\"", {product, axis},
                       {{1, 1, mOptions.height, mOptions.width}})[0];
        });
    }

    void makeGesture(const Value& scores) {
        const Value shaped = reshape(scores, mOptions.gesture);
        const Value zero = floats({-kGestureZero}, {1});
        finish("gesture", [&](const std::string& name) { return binary(name, "Add", shaped, zero); });
    }

    void makeLandmarks(const Value& columns) {
        const Dims& faces = mOptions.landmarks;
        Dims onlyColumns(faces.size(), 1);
        onlyColumns[faces.size() - 2] = faces[faces.size() - 2];
        Dims noColumns = faces;
        noColumns[faces.size() - 2] = 1;
        const Value offsets = floats(landmarkOffsets(elements(noColumns), faces.back()), noColumns);
        const Value shaped = reshape(columns, onlyColumns);
        finish("faces_and_landmarks", [&](const std::string& name) { return binary(name, "Add", shaped, offsets); });
    }

    static std::vector<float> landmarkOffsets(int count, int valuesOfAFace) {
        std::vector<float> offsets;
        for (int i = 0; i < count; ++i) {
            const int face = i / valuesOfAFace;
            offsets.push_back(kFaceStep * static_cast<float>(face) + static_cast<float>(i % valuesOfAFace));
        }
        return offsets;
    }

    void makeEighths(const char* output, const Value& values, const Dims& dims) {
        const Value shaped = reshape(values, dims);
        const Value factor = floats({kMotionFactor}, {1});
        finish(output, [&](const std::string& name) { return binary(name, "Multiply", shaped, factor); });
    }

    void makeRamp(const char* output, const Value& start, const Dims& dims) {
        std::vector<float> steps(static_cast<size_t>(elements(dims)));
        std::iota(steps.begin(), steps.end(), 0.0f);
        const Value ramp = floats(steps, dims);
        const Value shaped = reshape(start, Dims(dims.size(), 1));
        finish(output, [&](const std::string& name) { return binary(name, "Add", ramp, shaped); });
    }

    // The first numbers of the picture in parts of these lengths, and what is left of it.
    std::vector<Value> split(const Value& picture, Dims lengths) {
        const int all = elements(picture.dims);
        lengths.push_back(all - std::accumulate(lengths.begin(), lengths.end(), 0));
        const Value flat = reshape(picture, {all});
        const Value axis = integers({0});
        const Value sizes = integers(lengths);
        std::vector<Dims> shapes;
        for (const int length : lengths) shapes.push_back({length});
        return add("parts", "VariadicSplit", "", {flat, axis, sizes}, shapes);
    }

    Value reshape(const Value& from, const Dims& dims) {
        const Value shape = integers(dims);
        return add("shaped" + std::to_string(mIds), "Reshape", "special_zero=\"false\"", {from, shape}, {dims})[0];
    }

    // Dimensions of the larger one, to which the other is spread.
    Value binary(const std::string& name, const std::string& type, const Value& a, const Value& b) {
        Dims dims = a.dims;
        for (size_t i = 0; i < b.dims.size() && b.dims.size() == dims.size(); ++i)
            dims[i] = std::max(dims[i], b.dims[i]);
        return add(name, type, "auto_broadcast=\"numpy\"", {a, b}, {dims})[0];
    }

    // A layer of the output's name, unless the network lacks it.
    void finish(const char* name, const std::function<Value(const std::string&)>& last) {
        if (std::count(mOptions.missing.begin(), mOptions.missing.end(), name) > 0) return;
        const Value value = last(name);
        const int id = mIds++;
        mLayers += layer(id, std::string(name) + "/sink_port_0", "Result", "", port(0, "FP32", value.dims), "");
        mEdges += edge(value.layer, value.port, id, 0);
    }

    std::vector<Value> add(const std::string& name, const std::string& type, const std::string& data,
                           const std::vector<Value>& inputs, const std::vector<Dims>& outputs) {
        const int id = mIds++;
        int number = 0;
        std::string in, out;
        for (const Value& input : inputs) {
            mEdges += edge(input.layer, input.port, id, number);
            in += port(number++, input.precision, input.dims);
        }
        std::vector<Value> values;
        for (const Dims& dims : outputs) {
            values.push_back({id, number, dims});
            out += port(number++, "FP32", dims);
        }
        mLayers += layer(id, name, type, data, in, out);
        return values;
    }

    template <class T>
    Value constantLayer(const char* type, const char* precision, const std::vector<T>& values, const Dims& dims) {
        const int id = mIds++;
        const size_t offset = mWeights.size(), size = values.size() * sizeof(T);
        mWeights.resize(offset + size);
        std::memcpy(mWeights.data() + offset, values.data(), size);
        mLayers += layer(id, "constant" + std::to_string(id), "Const", constant(type, dims, offset, size), "",
                         port(0, precision, dims));
        return {id, 0, dims, precision};
    }
    Value floats(const std::vector<float>& values, const Dims& dims) {
        return constantLayer("f32", "FP32", values, dims);
    }
    Value integers(const Dims& values) {
        return constantLayer("i64", "I64", std::vector<int64_t>(values.begin(), values.end()),
                             {static_cast<int>(values.size())});
    }

    const Options& mOptions;
    std::vector<uint8_t> mWeights;
    std::string mLayers;
    std::string mEdges;
    int mIds = 0;
};

}  // namespace

mask_networks::Pair make(const Options& options) {
    return Graph(options).make();
}

}  // namespace ladon_networks
