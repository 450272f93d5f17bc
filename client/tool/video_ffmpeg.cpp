#include <algorithm>
#include <cctype>
#include <exception>
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

std::string sizeText(uint32_t width, uint32_t height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

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

// A picture of three channels for the scaler, which reads and writes beyond the ends of rows: there is room for a pixel
// behind each, and more.
Owned<AVFrame> pictureFrame(int width, int height) {
    Owned<AVFrame> frame(av_frame_alloc());
    if (!frame) return nullptr;
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = width + 1;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    frame->width = width;
    return frame;
}

// The scaler takes pixels by pairs: behind a row of an odd width its last one stands once more.
void copyRows(const Image& from, AVFrame& to) {
    const size_t bytes = size_t{from.width} * 3;
    for (uint32_t y = 0; y < from.height; ++y) {
        uint8_t* const row = to.data[0] + ptrdiff_t{to.linesize[0]} * y;
        std::copy_n(from.row(y), bytes, row);
        if (from.width % 2 != 0) std::copy_n(from.row(y) + bytes - 3, 3, row + bytes);
    }
}

int scaleInto(SwsContext* scaler, const AVFrame& from, AVFrame& to) {
    const int rows = sws_scale(scaler, from.data, from.linesize, 0, from.height, to.data, to.linesize);
    if (rows == to.height) return 0;
    return rows < 0 ? rows : AVERROR_EXTERNAL;
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
        if (!mPicture || mPicture->width != width || mPicture->height != height) mPicture = pictureFrame(width, height);
        if (!mPicture) return failed(AVERROR(ENOMEM));
        const int code = scaleInto(mScaler.get(), *mFrame, *mPicture);
        if (code < 0) return failed(code);
        frame = Image(static_cast<uint32_t>(width), static_cast<uint32_t>(height), 3);
        av_image_copy_plane(frame.bytes.data(), width * 3, mPicture->data[0], mPicture->linesize[0], width * 3, height);
        return true;
    }

    bool failed(int code) {
        mError = "cannot read on after frame " + std::to_string(mNumber) + ": " + reasonOf(code);
        return false;
    }

    Owned<AVFormatContext> mInput;
    Owned<AVCodecContext> mDecoder;
    Owned<AVFrame> mFrame;
    Owned<AVFrame> mPicture;
    Owned<AVPacket> mPacket;
    Owned<SwsContext> mScaler;
    int mStream = 0;
    uint64_t mNumber = 0;
};

class VideoWriter final : public FrameSink {
  public:
    VideoWriter(std::string path, double rate) : mPath(std::move(path)), mRate(rate) {}
    ~VideoWriter() override {
        try {
            finish();
        } catch (const std::exception&) {  // no memory for what failed: nobody would hear it
        }
    }

    bool put(const Image& frame) override {
        if (!mBegun && !check(open(frame))) return false;
        if (!hasTheSize(frame) || !check(av_frame_make_writable(mFrame.get()))) return false;
        copyRows(frame, *mPicture);
        if (!check(scaleInto(mScaler.get(), *mPicture, *mFrame))) return false;
        mFrame->pts = mNumber++;
        return encode(mFrame.get());
    }

    // Each step is tried, so that what was written before a failure can be read.
    bool finish() override {
        if (!mBegun) return true;
        mBegun = false;
        const bool encoded = encode(nullptr);
        const bool indexed = check(av_write_trailer(mOutput.get()));
        return check(avio_closep(&mOutput->pb)) && encoded && indexed;
    }

  private:
    bool hasTheSize(const Image& frame) {
        const auto width = static_cast<uint32_t>(mPicture->width);
        const auto height = static_cast<uint32_t>(mPicture->height);
        if (frame.width == width && frame.height == height) return true;
        mError = "cannot write the video " + mPath + ": its frames are " + sizeText(width, height) + ", frame " +
                 std::to_string(mNumber + 1) + " is " + sizeText(frame.width, frame.height) +
                 "; a folder takes pictures of any size";
        return false;
    }

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
        const int begun = encoder < 0 ? encoder : openFile(frame);
        mBegun = begun >= 0;
        return begun;
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
        mPicture = pictureFrame(static_cast<int>(frame.width), static_cast<int>(frame.height));
        if (!mPicture) return AVERROR(ENOMEM);
        mScaler.reset(sws_getContext(mPicture->width, mPicture->height, AV_PIX_FMT_RGB24, mFrame->width, mFrame->height,
                                     mEncoder->pix_fmt, SWS_BILINEAR, nullptr, nullptr, nullptr));
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
            mPacket->duration = 1;  // without it some formats lose the last frame
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
    Owned<AVFrame> mPicture;  // as it is given, of the size of the first one
    Owned<AVFrame> mFrame;    // as it is encoded
    Owned<AVPacket> mPacket;
    Owned<SwsContext> mScaler;
    AVStream* mStream = nullptr;
    int64_t mNumber = 0;
    bool mBegun = false;  // the file has its head and not yet its end
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
