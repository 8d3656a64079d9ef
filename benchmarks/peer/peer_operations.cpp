#include "benchmarks/peer/peer_operations.h"

#include <cmath>
#include <cstring>

#include <opencv2/core.hpp>
#include <opencv2/core/ocl.hpp>
#include <opencv2/imgproc.hpp>

namespace zarn_bench {

namespace {

using cv::Mat;

const cv::Point centre(-1, -1);
const cv::Scalar margin_colour(10, 20, 30, 40);

cv::Size scaled(const Mat& from, double factor) { return {cvRound(from.cols * factor), cvRound(from.rows * factor)}; }

void box(const Mat& from, Mat& to, int radius) {
    cv::blur(from, to, cv::Size(2 * radius + 1, 2 * radius + 1), centre, cv::BORDER_REPLICATE);
}

// Taps end at 2 sigma, as ours do.
void gaussian(const Mat& from, Mat& to, double sigma) {
    const int taps = 2 * static_cast<int>(2 * sigma) + 1;
    cv::GaussianBlur(from, to, cv::Size(taps, taps), sigma, sigma, cv::BORDER_REPLICATE);
}

// Clockwise about the centre, on a canvas that holds the whole result.
void rotate(const Mat& from, Mat& to, double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    const cv::Size canvas(static_cast<int>(std::ceil(from.cols * c + from.rows * s)),
                          static_cast<int>(std::ceil(from.cols * s + from.rows * c)));
    const double x = (from.cols - 1) / 2.0, y = (from.rows - 1) / 2.0;
    const double X = (canvas.width - 1) / 2.0, Y = (canvas.height - 1) / 2.0;
    const cv::Matx23d from_result_to_source(c, s, x - c * X - s * Y, -s, c, y + s * X - c * Y);
    cv::warpAffine(from, to, from_result_to_source, canvas, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_CONSTANT, cv::Scalar::all(0));
}

void three_boxes(const Mat& from, Mat& to) {
    static Mat first, second;
    box(from, first, 10);
    box(first, second, 10);
    box(second, to, 10);
}

void sharpen(const Mat& from, Mat& to) {
    constexpr float a = 0.5f;
    const cv::Matx33f kernel(0, -a, 0, -a, 4 * a + 1, -a, 0, -a, 0);
    cv::filter2D(from, to, -1, kernel, centre, 0, cv::BORDER_REPLICATE);
}

void gamma(const Mat& from, Mat& to) {
    static const Mat table = [] {
        Mat values(1, 256, CV_8UC4);
        for (int n = 0; n < 256; ++n) {
            const auto colour = static_cast<uchar>(std::pow(n / 255.0, 1 / 2.2) * 255.0);
            values.at<cv::Vec4b>(n) = {colour, colour, colour, static_cast<uchar>(n)};
        }
        return values;
    }();
    cv::LUT(from, table, to);
}

enum class destination {
    fresh,   // a new array in each call
    kept,    // an array that stays
    in_place // the source itself
};

struct equivalent {
    const char* name;
    const char* description;
    void (*run)(const Mat& from, Mat& to);
    destination where = destination::fresh;
    bool mixes_pixels = false; // then transparent ones must be kept out of it: there is an alpha form
};

const equivalent equivalents[] = {
    {"copy", "`copyTo`", [](const Mat& from, Mat& to) { from.copyTo(to); }},
    {"crop", "`copyTo` of a rectangle",
     [](const Mat& from, Mat& to) {
         from(cv::Rect(from.cols / 4, from.rows / 4, from.cols / 2, from.rows / 2)).copyTo(to);
     }},
    {"canvas", "`copyMakeBorder`",
     [](const Mat& from, Mat& to) {
         const int m = from.cols / 8;
         cv::copyMakeBorder(from, to, m, m, m, m, cv::BORDER_CONSTANT, margin_colour);
     }},
    {"flip_horizontal", "`flip`", [](const Mat& from, Mat& to) { cv::flip(from, to, 1); }},
    {"flip_vertical", "`flip`", [](const Mat& from, Mat& to) { cv::flip(from, to, 0); }},
    {"nearest_half", "`resize` INTER_NEAREST",
     [](const Mat& from, Mat& to) { cv::resize(from, to, scaled(from, 0.5), 0, 0, cv::INTER_NEAREST); }},
    {"nearest_2x", "`resize` INTER_NEAREST",
     [](const Mat& from, Mat& to) { cv::resize(from, to, scaled(from, 2), 0, 0, cv::INTER_NEAREST); }},
    {"area_half", "`resize` INTER_AREA",
     [](const Mat& from, Mat& to) { cv::resize(from, to, scaled(from, 0.5), 0, 0, cv::INTER_AREA); },
     destination::fresh, true},
    {"area_quarter", "`resize` INTER_AREA",
     [](const Mat& from, Mat& to) { cv::resize(from, to, scaled(from, 0.25), 0, 0, cv::INTER_AREA); },
     destination::fresh, true},
    {"bspline_2x", "`resize` INTER_CUBIC",
     [](const Mat& from, Mat& to) { cv::resize(from, to, scaled(from, 2), 0, 0, cv::INTER_CUBIC); }, destination::fresh,
     true},
    {"rotate", "`warpAffine` INTER_LINEAR", [](const Mat& from, Mat& to) { rotate(from, to, 0.3); }, destination::fresh,
     true},
    {"gaussian_s2", "`GaussianBlur` 9 x 9", [](const Mat& from, Mat& to) { gaussian(from, to, 2); }, destination::fresh,
     true},
    {"gaussian_s10", "`GaussianBlur` 41 x 41", [](const Mat& from, Mat& to) { gaussian(from, to, 10); },
     destination::fresh, true},
    {"fast_gaussian_s10", "`blur` 21 x 21, three times", three_boxes, destination::fresh, true},
    {"box_r8", "`blur` 17 x 17", [](const Mat& from, Mat& to) { box(from, to, 8); }, destination::fresh, true},
    {"clear", "`setTo`", [](const Mat&, Mat& to) { to.setTo(margin_colour); }, destination::in_place},
    {"sharpen", "`filter2D` 3 x 3", sharpen, destination::kept},
    {"gamma", "`LUT` in place", gamma, destination::in_place},
};

const equivalent* find(const std::string& operation) {
    for (const equivalent& one : equivalents)
        if (operation == one.name) return &one;
    return nullptr;
}

} // namespace

struct peer::images {
    Mat pristine; // the picture's own array
    Mat working;
    Mat multiplied, mixed; // between the steps of an alpha form
    Mat kept;

    void run(const equivalent& one, peer_form form, Mat& to) {
        if (form == peer_form::plain) {
            one.run(working, to);
            return;
        }
        cv::cvtColor(working, multiplied, cv::COLOR_RGBA2mRGBA);
        one.run(multiplied, mixed);
        cv::cvtColor(mixed, to, cv::COLOR_mRGBA2RGBA);
    }
};

peer::peer(const picture& source)
    : ___images(std::make_unique<images>()) {
    cv::ocl::setUseOpenCL(false);
    ___images->pristine = Mat(static_cast<int>(source.height), static_cast<int>(source.width), CV_8UC4,
                              const_cast<std::uint8_t*>(source.rgba.data()));
    restore();
}

peer::~peer() = default;

void peer::set_threads(unsigned count) { cv::setNumThreads(static_cast<int>(count)); }

std::string peer::version() { return cv::getVersionString(); }

std::string peer::description(const std::string& operation) {
    const equivalent* const one = find(operation);
    return one ? one->description : "";
}

std::function<void()> peer::call(const std::string& operation, peer_form form) {
    const equivalent* const one = find(operation);
    if (!one || (form == peer_form::alpha && !one->mixes_pixels)) return {};
    images& held = *___images;
    switch (one->where) {
    case destination::kept:
        return [&held, one, form] { held.run(*one, form, held.kept); };
    case destination::in_place:
        return [&held, one] { one->run(held.working, held.working); };
    case destination::fresh:
        break;
    }
    return [&held, one, form] {
        Mat result;
        held.run(*one, form, result);
    };
}

void peer::restore() { ___images->pristine.copyTo(___images->working); }

picture peer::result_of(const std::string& operation, peer_form form) {
    const equivalent* const one = find(operation);
    if (!one) return {};
    restore();
    Mat result = one->where == destination::in_place ? ___images->working : Mat();
    ___images->run(*one, form, result);
    picture image{static_cast<unsigned>(result.cols), static_cast<unsigned>(result.rows), {}};
    image.rgba.resize(image.pixels() * 4);
    for (int row = 0; row < result.rows; ++row)
        std::memcpy(&image.rgba[std::size_t{4} * image.width * static_cast<unsigned>(row)], result.ptr(row),
                    std::size_t{4} * image.width);
    return image;
}

} // namespace zarn_bench
