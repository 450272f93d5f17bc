#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <utility>

#include "client/tool/Composite.h"
#include "client/tool/frame_source.h"
#include "qorvp/Format.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace zeltool {

namespace {

constexpr double kUnknownRate = 30;

std::string reasonOf(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(code, text, sizeof text);
    return text;
}

// Owners of the library's objects.
struct Free {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
struct CloseOutput {
    void operator()(AVFormatContext* output) const {
        if (output->pb) avio_closep(&output->pb);
        avformat_free_context(output);
    }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

uint32_t formatOf(int format) {
    switch (format) {
        case AV_PIX_FMT_YUV420P:
            return qorvp::kFormatI420;
        case AV_PIX_FMT_NV12:
            return qorvp::kFormatNv12;
        case AV_PIX_FMT_NV21:
            return qorvp::kFormatNv21;
        default:
            return 0;
    }
}

// A decoded frame as the image library takes it; nothing for one whose colours would suffer, or a row or column be
// lost.
std::optional<qorvp::VpImage> videoOf(const AVFrame& frame) {
    const uint32_t format = formatOf(frame.format);
    const bool even = frame.width % 2 == 0 && frame.height % 2 == 0;
    const bool alike = format != qorvp::kFormatI420 || frame.linesize[1] == frame.linesize[2];
    const bool downwards = frame.linesize[0] > 0 && frame.linesize[1] > 0;
    if (format == 0 || frame.color_range == AVCOL_RANGE_JPEG || !even || !alike || !downwards) return std::nullopt;
    qorvp::VpImage video{};
    std::copy_n(frame.data, std::size(video.planes), video.planes);
    video.stride0 = frame.linesize[0];
    video.stride1 = frame.linesize[1];
    video.width = frame.width;
    video.height = frame.height;
    video.format = format;
    return video;
}

class VideoReader final : public FrameSource {
  public:
    bool open(const std::string& path, const AVInputFormat* format, std::string* error) {
        av_log_set_level(AV_LOG_FATAL);
        AVFormatContext* input = nullptr;
        int code = avformat_open_input(&input, path.c_str(), format, nullptr);
        mInput.reset(input);
        if (code >= 0) code = avformat_find_stream_info(input, nullptr);
        const AVCodec* codec = nullptr;
        if (code >= 0) code = mStream = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
        if (code >= 0) code = openDecoder(codec);
        if (code < 0) *error = "cannot read " + path + ": " + reasonOf(code);
        return code >= 0;
    }

    bool next(Image& frame) override {
        for (;;) {
            const int code = avcodec_receive_frame(mDecoder.get(), mFrame.get());
            if (code == 0) return convert(frame);
            if (code == AVERROR_EOF) return false;
            if (code != AVERROR(EAGAIN)) return failed(code);
            if (!feed()) return false;
        }
    }

    uint64_t count() const override {
        const AVStream* stream = mInput->streams[mStream];
        if (stream->nb_frames > 0) return static_cast<uint64_t>(stream->nb_frames);
        if (mInput->duration <= 0) return 0;
        return static_cast<uint64_t>(static_cast<double>(mInput->duration) / AV_TIME_BASE * rate());
    }

    double rate() const override {
        const AVRational rate = av_guess_frame_rate(mInput.get(), mInput->streams[mStream], nullptr);
        return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : kUnknownRate;
    }

    std::string name() const override { return std::to_string(mNumber); }

  private:
    int openDecoder(const AVCodec* codec) {
        mDecoder.reset(avcodec_alloc_context3(codec));
        mFrame.reset(av_frame_alloc());
        mPacket.reset(av_packet_alloc());
        if (!mDecoder || !mFrame || !mPacket) return AVERROR(ENOMEM);
        const int code = avcodec_parameters_to_context(mDecoder.get(), mInput->streams[mStream]->codecpar);
        return code < 0 ? code : avcodec_open2(mDecoder.get(), codec, nullptr);
    }

    // Gives the decoder the next packet of the video, or the end. Packets that it cannot decode are skipped.
    bool feed() {
        for (;;) {
            const int code = av_read_frame(mInput.get(), mPacket.get());
            if (code == AVERROR(EAGAIN)) continue;
            if (code == AVERROR_EOF) return avcodec_send_packet(mDecoder.get(), nullptr) >= 0;
            if (code < 0) return failed(code);
            const bool ours = mPacket->stream_index == mStream;
            const int sent = ours ? avcodec_send_packet(mDecoder.get(), mPacket.get()) : AVERROR_INVALIDDATA;
            av_packet_unref(mPacket.get());
            if (sent >= 0) return true;
            if (sent != AVERROR_INVALIDDATA) return failed(sent);
        }
    }

    bool convert(Image& frame) {
        if (const std::optional<qorvp::VpImage> video = videoOf(*mFrame))
            frame = converted(*video);
        else if (!scale(frame))
            return false;
        ++mNumber;
        return true;
    }

    // What the image library does not convert.
    bool scale(Image& frame) {
        const int width = mFrame->width;
        const int height = mFrame->height;
        mScaler.reset(sws_getCachedContext(mScaler.release(), width, height, static_cast<AVPixelFormat>(mFrame->format),
                                           width, height, AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
        if (!mScaler) return failed(AVERROR(EINVAL));
        frame = Image(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 3);
        uint8_t* const planes[4] = {frame.bytes.data()};
        const int strides[4] = {width * 3};
        sws_scale(mScaler.get(), mFrame->data, mFrame->linesize, 0, height, planes, strides);
        return true;
    }

    bool failed(int code) {
        mError = "cannot read on after frame " + std::to_string(mNumber) + ": " + reasonOf(code);
        return false;
    }

    Owned<AVFormatContext> mInput;
    Owned<AVCodecContext> mDecoder;
    Owned<AVFrame> mFrame;
    Owned<AVPacket> mPacket;
    Owned<SwsContext> mScaler;
    int mStream = 0;
    uint64_t mNumber = 0;
};

class VideoWriter final : public FrameSink {
  public:
    VideoWriter(std::string path, double rate) : mPath(std::move(path)), mRate(rate) {}

    bool put(const Image& frame) override {
        if (!mOutput && !check(open(frame))) return false;
        const uint8_t* const planes[4] = {frame.bytes.data()};
        const int strides[4] = {static_cast<int>(frame.width) * 3};
        if (!check(av_frame_make_writable(mFrame.get()))) return false;
        sws_scale(mScaler.get(), planes, strides, 0, static_cast<int>(frame.height), mFrame->data, mFrame->linesize);
        mFrame->pts = mNumber++;
        return encode(mFrame.get());
    }

    bool finish() override { return !mOutput || (encode(nullptr) && check(av_write_trailer(mOutput.get()))); }

  private:
    int open(const Image& frame) {
        av_log_set_level(AV_LOG_FATAL);
        AVFormatContext* output = nullptr;
        const int code = avformat_alloc_output_context2(&output, nullptr, nullptr, mPath.c_str());
        if (code < 0) return code;
        mOutput.reset(output);
        const AVCodec* codec = avcodec_find_encoder(output->oformat->video_codec);
        mStream = avformat_new_stream(output, codec);
        mEncoder.reset(avcodec_alloc_context3(codec));
        mFrame.reset(av_frame_alloc());
        mPacket.reset(av_packet_alloc());
        if (!codec || !mStream || !mEncoder || !mFrame || !mPacket) return AVERROR_ENCODER_NOT_FOUND;
        const int encoder = openEncoder(*codec, frame);
        return encoder < 0 ? encoder : openFile(frame);
    }

    // Most formats of pixels need even sides.
    int openEncoder(const AVCodec& codec, const Image& frame) {
        mEncoder->width = static_cast<int>(std::max(2u, frame.width & ~1u));
        mEncoder->height = static_cast<int>(std::max(2u, frame.height & ~1u));
        mEncoder->pix_fmt = codec.pix_fmts ? codec.pix_fmts[0] : AV_PIX_FMT_YUV420P;
        mEncoder->time_base = av_d2q(1 / mRate, 100000);
        mEncoder->framerate = av_inv_q(mEncoder->time_base);
        mEncoder->bit_rate = int64_t{4} * mEncoder->width * mEncoder->height;
        if (mOutput->oformat->flags & AVFMT_GLOBALHEADER) mEncoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        return avcodec_open2(mEncoder.get(), &codec, nullptr);
    }

    int openFile(const Image& frame) {
        mFrame->format = mEncoder->pix_fmt;
        mFrame->width = mEncoder->width;
        mFrame->height = mEncoder->height;
        mScaler.reset(sws_getContext(static_cast<int>(frame.width), static_cast<int>(frame.height), AV_PIX_FMT_RGB24,
                                     mFrame->width, mFrame->height, mEncoder->pix_fmt, SWS_BILINEAR, nullptr, nullptr,
                                     nullptr));
        mStream->time_base = mEncoder->time_base;
        int code = mScaler ? av_frame_get_buffer(mFrame.get(), 0) : AVERROR(EINVAL);
        if (code >= 0) code = avcodec_parameters_from_context(mStream->codecpar, mEncoder.get());
        if (code >= 0) code = avio_open(&mOutput->pb, mPath.c_str(), AVIO_FLAG_WRITE);
        return code < 0 ? code : avformat_write_header(mOutput.get(), nullptr);
    }

    bool encode(const AVFrame* frame) {
        if (!check(avcodec_send_frame(mEncoder.get(), frame))) return false;
        for (;;) {
            const int code = avcodec_receive_packet(mEncoder.get(), mPacket.get());
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return true;
            if (!check(code)) return false;
            av_packet_rescale_ts(mPacket.get(), mEncoder->time_base, mStream->time_base);
            mPacket->stream_index = mStream->index;
            if (!check(av_interleaved_write_frame(mOutput.get(), mPacket.get()))) return false;
        }
    }

    bool check(int code) {
        if (code < 0) mError = "cannot write the video " + mPath + ": " + reasonOf(code);
        return code >= 0;
    }

    const std::string mPath;
    const double mRate;
    std::unique_ptr<AVFormatContext, CloseOutput> mOutput;
    Owned<AVCodecContext> mEncoder;
    Owned<AVFrame> mFrame;
    Owned<AVPacket> mPacket;
    Owned<SwsContext> mScaler;
    AVStream* mStream = nullptr;
    int64_t mNumber = 0;
};

bool isNumber(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

}  // namespace

std::unique_ptr<FrameSource> openVideo(const std::string& path, std::string* error) {
    auto reader = std::make_unique<VideoReader>();
    if (!reader->open(path, nullptr, error)) return nullptr;
    return reader;
}

std::unique_ptr<FrameSource> openCamera(const std::string& camera, std::string* error) {
    avdevice_register_all();
    const AVInputFormat* format = av_find_input_format("v4l2");
    if (!format) {
        *error = "cannot read the camera " + camera + ": the video libraries know no cameras";
        return nullptr;
    }
    auto reader = std::make_unique<VideoReader>();
    if (!reader->open(isNumber(camera) ? "/dev/video" + camera : camera, format, error)) return nullptr;
    return reader;
}

std::unique_ptr<FrameSink> createVideo(const std::string& path, double rate, std::string* error) {
    if (!av_guess_format(nullptr, path.c_str(), nullptr)) {
        *error = "cannot write " + path + ": no video format has that name; try .mp4, .mkv or a folder";
        return nullptr;
    }
    return std::make_unique<VideoWriter>(path, rate);
}

bool canDoVideo() {
    return true;
}

}  // namespace zeltool
