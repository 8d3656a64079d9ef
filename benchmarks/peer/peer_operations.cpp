#include "benchmarks/peer/peer_operations.h"

#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

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

void resize_nearest(const Mat& from, Mat& to, double factor) {
    cv::resize(from, to, scaled(from, factor), 0, 0, cv::INTER_NEAREST);
}

// As the engine does: about the corner of the canvas, the pixel into whose area a corner falls.
void rotate_nearest(const Mat& from, Mat& to, double angle) {
    const double c = std::cos(angle), s = std::sin(angle), x = -from.rows * s;
    const cv::Size canvas(static_cast<int>(std::ceil(from.cols * c + from.rows * s)),
                          static_cast<int>(std::ceil(from.cols * s + from.rows * c)));
    const cv::Matx23d from_result_to_source(c, s, x * c - 0.5, -s, c, -x * s - 0.5);
    cv::warpAffine(from, to, from_result_to_source, canvas, cv::INTER_NEAREST | cv::WARP_INVERSE_MAP,
                   cv::BORDER_CONSTANT, cv::Scalar::all(0));
}

void fill_polygon(const Mat&, Mat& to) {
    static std::vector<std::vector<cv::Point>> polygons(1);
    static int side = 0;
    constexpr int fraction_bits = 4;
    if (side != to.cols) {
        side = to.cols;
        polygons[0].clear();
        for (const auto& [x, y] : benchmark_polygon(static_cast<unsigned>(side))) {
            polygons[0].emplace_back(cvRound((x - 0.5) * (1 << fraction_bits)),
                                     cvRound((y - 0.5) * (1 << fraction_bits)));
        }
    }
    cv::fillPoly(to, polygons, cv::Scalar(200, 100, 50, 255), cv::LINE_AA, fraction_bits);
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

double full_scale(const Mat& image) { return image.depth() == CV_8U ? 255.0 : image.depth() == CV_16U ? 65535.0 : 1.0; }

// The curve's table, for colour samples of 0..1; alpha stays.
template <class Curve>
Mat table_of(Curve curve) {
    Mat values(1, 256, CV_8UC4);
    for (int n = 0; n < 256; ++n) {
        const auto colour = cv::saturate_cast<uchar>(std::floor(curve(n / 255.0) * 255.0));
        values.at<cv::Vec4b>(n) = {colour, colour, colour, static_cast<uchar>(n)};
    }
    return values;
}

constexpr double exposed = 1.3, brightened = 0.1, contrasted = 1.25, gamma_value = 2.2;

// Colour times `factor` plus `shift` of full scale, in floats.
void affine_in_floats(const Mat& from, Mat& to, double factor, double shift) {
    static Mat floats;
    const double added = shift * full_scale(from);
    from.convertTo(floats, CV_32F);
    cv::multiply(floats, cv::Scalar(factor, factor, factor, 1), floats);
    if (added != 0.0) cv::add(floats, cv::Scalar(added, added, added, 0), floats);
    floats.convertTo(to, from.depth());
}

// Of floats: all four channels in one pass, which is the faster of its ways.
void affine_of_floats(const Mat& from, Mat& to, double factor, double shift) {
    from.convertTo(to, CV_32F, factor, shift);
}

void exposure(const Mat& from, Mat& to) {
    if (from.depth() == CV_32F) return affine_of_floats(from, to, exposed, 0.0);
    static const Mat table = table_of([](double value) { return value * exposed; });
    if (from.depth() == CV_8U)
        cv::LUT(from, table, to);
    else
        affine_in_floats(from, to, exposed, 0.0);
}

void brightness(const Mat& from, Mat& to) {
    if (from.depth() == CV_32F) return affine_of_floats(from, to, 1.0, brightened);
    static const Mat table = table_of([](double value) { return value + brightened; });
    if (from.depth() == CV_8U)
        cv::LUT(from, table, to);
    else
        affine_in_floats(from, to, 1.0, brightened);
}

constexpr double contrast_shift = 0.5 * (1.0 - contrasted);

void contrast(const Mat& from, Mat& to) {
    if (from.depth() == CV_32F) return affine_of_floats(from, to, contrasted, contrast_shift);
    static const Mat table = table_of([](double value) { return value * contrasted + contrast_shift; });
    if (from.depth() == CV_8U)
        cv::LUT(from, table, to);
    else
        affine_in_floats(from, to, contrasted, contrast_shift);
}

void contrast_matrix(const Mat& from, Mat& to) {
    const auto k = static_cast<float>(contrasted), b = static_cast<float>(contrast_shift * full_scale(from));
    float rows[4][5] = {{k, 0, 0, 0, b}, {0, k, 0, 0, b}, {0, 0, k, 0, b}, {0, 0, 0, 1, 0}};
    cv::transform(from, to, Mat(4, 5, CV_32F, rows));
}

void grayscale(const Mat& from, Mat& to) {
    if (from.depth() == CV_32F) {
        cv::transform(from, to, cv::Matx<float, 2, 4>(0.299f, 0.587f, 0.114f, 0, 0, 0, 0, 1)); // the value and alpha
        return;
    }
    const float r = 0.299f, g = 0.587f, b = 0.114f;
    cv::transform(from, to, cv::Matx44f(r, g, b, 0, r, g, b, 0, r, g, b, 0, 0, 0, 0, 1));
}

void gamma(const Mat& from, Mat& to) {
    if (from.depth() == CV_32F) return cv::pow(from, gamma_value, to); // ours raises floats to the value itself
    static const Mat table = table_of([](double value) { return std::pow(value, 1 / gamma_value); });
    if (from.depth() == CV_8U) {
        cv::LUT(from, table, to);
        return;
    }
    static Mat floats, alpha;
    from.convertTo(floats, CV_32F, 1 / full_scale(from));
    cv::extractChannel(from, alpha, 3);
    cv::pow(floats, 1 / gamma_value, floats);
    floats.convertTo(to, from.depth(), full_scale(from));
    cv::insertChannel(alpha, to, 3);
}

void negative(const Mat& from, Mat& to) {
    const double full = full_scale(from);
    cv::bitwise_xor(from, cv::Scalar(full, full, full, 0), to);
}

// Lightness stretched by way of hue, lightness and saturation: of 8 bits in 8 bits, of 16 in floats.
void normalize(const Mat& from, Mat& to) {
    static Mat floats, hls, lightness, alpha, back;
    cv::extractChannel(from, alpha, 3);
    const bool bytes = from.depth() == CV_8U;
    if (!bytes) from.convertTo(floats, CV_32F, 1 / full_scale(from));
    cv::cvtColor(bytes ? from : floats, hls, bytes ? cv::COLOR_RGB2HLS_FULL : cv::COLOR_RGB2HLS);
    cv::extractChannel(hls, lightness, 1);
    cv::normalize(lightness, lightness, 0, bytes ? 255 : 1, cv::NORM_MINMAX);
    cv::insertChannel(lightness, hls, 1);
    cv::cvtColor(hls, bytes ? to : back, bytes ? cv::COLOR_HLS2RGB_FULL : cv::COLOR_HLS2RGB, 4);
    if (!bytes) back.convertTo(to, from.depth(), full_scale(from));
    cv::insertChannel(alpha, to, 3);
}

// `over` onto `to`, with opacity 0.7; the greater alpha stays.
void blend_over(const Mat& over, Mat& to) {
    static Mat alpha, weight, rest, greater, floats_over, floats_to, blended;
    cv::extractChannel(over, alpha, 3);
    alpha.convertTo(weight, CV_32F, 0.7 / full_scale(over));
    cv::subtract(cv::Scalar::all(1), weight, rest);
    cv::extractChannel(to, greater, 3);
    cv::max(alpha, greater, greater);
    if (over.depth() == CV_8U) {
        cv::blendLinear(over, to, weight, rest, blended);
        std::swap(blended, to);
    } else {
        over.convertTo(floats_over, CV_32F);
        to.convertTo(floats_to, CV_32F);
        cv::blendLinear(floats_over, floats_to, weight, rest, blended);
        blended.convertTo(to, over.depth());
    }
    cv::insertChannel(greater, to, 3);
}

// Colour multiplied with alpha, and divided by it again. For 16 bits and floats there is no conversion that does it.
void multiply_alpha(const Mat& from, Mat& to) {
    if (from.depth() == CV_8U) {
        cv::cvtColor(from, to, cv::COLOR_RGBA2mRGBA);
        return;
    }
    static Mat factors;
    factors.create(from.size(), from.type());
    factors.setTo(cv::Scalar::all(full_scale(from)));
    const int alpha_to_colour[] = {3, 0, 3, 1, 3, 2};
    cv::mixChannels(&from, 1, &factors, 1, alpha_to_colour, 3);
    cv::multiply(from, factors, to, 1 / full_scale(from));
}

void divide_alpha(const Mat& from, Mat& to) {
    if (from.depth() == CV_8U) {
        cv::cvtColor(from, to, cv::COLOR_mRGBA2RGBA);
        return;
    }
    static Mat divisors;
    divisors.create(from.size(), from.type());
    divisors.setTo(cv::Scalar::all(full_scale(from)));
    const int alpha_to_colour[] = {3, 0, 3, 1, 3, 2};
    cv::mixChannels(&from, 1, &divisors, 1, alpha_to_colour, 3);
    cv::divide(from, divisors, to, full_scale(from));
}

// Turns the hue by rotating colours about the grey axis, and widens the distance from it.
void turn_hue(const Mat& from, Mat& to) {
    constexpr float c = 0.809017f * 1.2f, s = 0.587785f * 1.2f * 0.57735f, g = (1.0f - c) / 3.0f;
    cv::transform(from, to,
                  cv::Matx44f(g + c, g - s, g + s, 0, g + s, g + c, g - s, 0, g - s, g + s, g + c, 0, 0, 0, 0, 1));
}

// The source as halves, made once.
const Mat& halves_of(const Mat& floats) {
    static Mat halves;
    if (halves.size() != floats.size()) floats.convertTo(halves, CV_16F);
    return halves;
}

struct region {
    int bounds[4];
    std::vector<cv::Point> points;
};

// Every region of pixels that are not 0 with its box and all its pixels, which are grouped by counting.
void list_regions(const Mat& from, std::vector<region>& regions) {
    static Mat labels, stats, centres;
    const int count = cv::connectedComponentsWithStats(from, labels, stats, centres, 8, CV_32S);
    regions.resize(static_cast<std::size_t>(count));
    for (int n = 1; n < count; ++n) {
        region& one = regions[static_cast<std::size_t>(n)];
        for (int k = 0; k < 4; ++k) one.bounds[k] = stats.at<int>(n, k);
        one.points.reserve(static_cast<std::size_t>(stats.at<int>(n, cv::CC_STAT_AREA)));
    }
    for (int y = 0; y < labels.rows; ++y) {
        const int* const label = labels.ptr<int>(y);
        for (int x = 0; x < labels.cols; ++x)
            if (label[x]) regions[static_cast<std::size_t>(label[x])].points.emplace_back(x, y);
    }
}

void region_sizes(const Mat& from, Mat& to) {
    std::vector<region> regions;
    list_regions(from, regions);
    if (from.rows > 256) return; // the picture of them is for the check
    to = Mat::zeros(from.size(), CV_16U);
    for (const region& one : regions)
        for (const cv::Point& at : one.points) to.at<std::uint16_t>(at) = static_cast<std::uint16_t>(one.points.size());
}

// From both sides of the border, the greatest of all stretched to full scale; on a margin of five pixels, as ours.
void distance(const Mat& from, Mat& to) {
    static Mat wide, inverted, inside, outside;
    cv::copyMakeBorder(from, wide, 5, 5, 5, 5, cv::BORDER_CONSTANT, cv::Scalar::all(0));
    cv::compare(wide, cv::Scalar::all(0), inverted, cv::CMP_EQ);
    cv::distanceTransform(wide, inside, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::distanceTransform(inverted, outside, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::max(inside, outside, outside);
    double greatest = 0.0;
    cv::minMaxLoc(outside, nullptr, &greatest);
    inside(cv::Rect(5, 5, from.cols, from.rows)).convertTo(to, CV_8U, 255 / greatest);
}

void normals(const Mat& from, Mat& to) {
    static Mat x, y, squares, planes[4], all;
    cv::Sobel(from, x, CV_32F, 1, 0, 3, -4.0 / 65535, 0, cv::BORDER_REPLICATE);
    cv::Sobel(from, y, CV_32F, 0, 1, 3, -4.0 / 65535, 0, cv::BORDER_REPLICATE);
    cv::multiply(x, x, squares);
    cv::accumulateSquare(y, squares);
    cv::add(squares, cv::Scalar::all(1), squares);
    cv::sqrt(squares, squares);
    cv::divide(x, squares, planes[0]);
    cv::divide(y, squares, planes[1]);
    cv::divide(1.0, squares, planes[2]);
    planes[3].create(from.size(), CV_32F);
    planes[3].setTo(1.0);
    cv::merge(planes, 4, all);
    all.convertTo(to, CV_16U, 32767.5, 32767.5);
}

void histogram(const Mat& from, Mat& to) {
    static Mat luminance, counts[5];
    cv::transform(from, luminance, cv::Matx14f(0.299f, 0.587f, 0.114f, 0));
    const int bins = 256, first = 0;
    const float range[] = {-0.5f / 255, 255.5f / 255};
    const float* ranges = range;
    for (int n = 0; n < 4; ++n) cv::calcHist(&from, 1, &n, Mat(), counts[n], 1, &bins, &ranges);
    cv::calcHist(&luminance, 1, &first, Mat(), counts[4], 1, &bins, &ranges);
    cv::Scalar mean, deviation, mean_of_luminance, deviation_of_luminance;
    cv::meanStdDev(from, mean, deviation);
    cv::meanStdDev(luminance, mean_of_luminance, deviation_of_luminance);
    to.create(3, 5, CV_32F);
    for (int n = 0; n < 5; ++n) {
        double most = 0.0;
        cv::minMaxLoc(counts[n], nullptr, &most);
        to.at<float>(0, n) = static_cast<float>(n < 4 ? mean[n] : mean_of_luminance[0]);
        to.at<float>(1, n) = static_cast<float>(n < 4 ? deviation[n] : deviation_of_luminance[0]);
        to.at<float>(2, n) = static_cast<float>(most / static_cast<double>(from.total()));
    }
}

enum class destination {
    fresh,    // a new array in each call
    kept,     // an array that stays
    in_place, // the source itself
    blended   // the source itself, onto which its mirror image comes
};

struct equivalent {
    const char* name;
    const char* description;
    void (*run)(const Mat& from, Mat& to);
    destination where = destination::fresh;
    bool mixes_pixels = false; // then transparent ones must be kept out of it: there is an alpha form
};

const char* const curve_route = "`LUT` in place; 16 bits: `convertTo` floats, arithmetic, back";

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
    {"exposure", curve_route, exposure, destination::in_place},
    {"brightness", curve_route, brightness, destination::in_place},
    {"contrast", curve_route, contrast, destination::in_place},
    {"gamma", curve_route, gamma, destination::in_place},
    {"contrast_matrix", "`transform` in place", contrast_matrix, destination::in_place},
    {"grayscale", "`transform` in place", grayscale, destination::in_place},
    {"negative", "`bitwise_xor` in place", negative, destination::in_place},
    {"normalize", "`cvtColor` to HLS, `normalize`, back", normalize, destination::in_place},
    {"blend_over", "`blendLinear` with weights made of alpha", blend_over, destination::blended},
    {"to_linear", "`pow` of all four channels, in place", [](const Mat& from, Mat& to) { cv::pow(from, 2.2, to); },
     destination::in_place},
    {"hue", "`transform` in place", turn_hue, destination::in_place},
    {"to_halves", "`convertTo` CV_16F", [](const Mat& from, Mat& to) { from.convertTo(to, CV_16F); }},
    {"from_halves", "`convertTo` CV_32F", [](const Mat& from, Mat& to) { halves_of(from).convertTo(to, CV_32F); }},
    {"histogram", "`calcHist` of five channels, `meanStdDev`", histogram},
    {"subset_list", "`connectedComponentsWithStats`, pixels grouped by label", region_sizes},
    {"distance", "`distanceTransform` DIST_MASK_PRECISE of both sides, `minMaxLoc`, `convertTo`", distance,
     destination::in_place},
    {"normals", "`Sobel` twice, arithmetic, `merge`, `convertTo`", normals},
    {"engine_enlarge", "`resize` INTER_NEAREST", [](const Mat& from, Mat& to) { resize_nearest(from, to, 1.5); },
     destination::kept},
    {"engine_reduce", "`resize` INTER_NEAREST", [](const Mat& from, Mat& to) { resize_nearest(from, to, 0.75); },
     destination::kept},
    {"engine_rotate", "`warpAffine` INTER_NEAREST", [](const Mat& from, Mat& to) { rotate_nearest(from, to, 0.3); },
     destination::kept},
    {"engine_both", "`resize`, `warpAffine` INTER_NEAREST",
     [](const Mat& from, Mat& to) {
         static Mat smaller;
         resize_nearest(from, smaller, 0.75);
         rotate_nearest(smaller, to, 0.3);
     },
     destination::kept},
    {"path_fill", "`fillPoly` LINE_AA", fill_polygon, destination::in_place},
    {"to_16_bits", "`convertTo`", [](const Mat& from, Mat& to) { from.convertTo(to, CV_16U, 257.0); }},
    {"to_8_bits", "`convertTo`", [](const Mat& from, Mat& to) { from.convertTo(to, CV_8U, 1 / 257.0); }},
};

const equivalent* find(const std::string& name) {
    for (const equivalent& one : equivalents)
        if (name == one.name) return &one;
    return nullptr;
}

int type_of(const pixel_form& form) {
    const int depth = form.bits == 8 ? CV_8U : form.bits == 16 ? CV_16U : CV_32F;
    return CV_MAKETYPE(depth, static_cast<int>(form.channels));
}

} // namespace

struct peer::images {
    Mat pristine; // the picture's own array
    Mat working;
    Mat mirror;
    Mat multiplied, mixed; // between the steps of an alpha form
    Mat kept;

    void run(const equivalent& one, peer_form form, Mat& to) {
        if (form == peer_form::plain) {
            one.run(one.where == destination::blended ? mirror : working, to);
            return;
        }
        multiply_alpha(working, multiplied);
        one.run(multiplied, mixed);
        divide_alpha(mixed, to);
    }
};

peer::peer(const picture& source)
    : ___images(std::make_unique<images>()) {
    cv::ocl::setUseOpenCL(false);
    ___images->pristine = Mat(static_cast<int>(source.height), static_cast<int>(source.width), type_of(source.form),
                              const_cast<std::uint8_t*>(source.bytes.data()));
    cv::flip(___images->pristine, ___images->mirror, 1);
    restore();
}

peer::~peer() = default;

void peer::set_threads(unsigned count) { cv::setNumThreads(static_cast<int>(count)); }

std::string peer::version() { return cv::getVersionString(); }

std::string peer::description(const operation& one) {
    const equivalent* const found = find(one.name);
    return found ? found->description : "";
}

std::function<void()> peer::call(const operation& ours, peer_form form) {
    const equivalent* const one = find(ours.name);
    if (!one || (form == peer_form::alpha && (!one->mixes_pixels || ours.form.channels == 1))) return {};
    images& held = *___images;
    switch (one->where) {
    case destination::kept:
        return [&held, one, form] { held.run(*one, form, held.kept); };
    case destination::in_place:
    case destination::blended:
        return [&held, one] { held.run(*one, peer_form::plain, held.working); };
    case destination::fresh:
        break;
    }
    return [&held, one, form] {
        Mat result;
        held.run(*one, form, result);
    };
}

void peer::restore() { ___images->pristine.copyTo(___images->working); }

picture peer::result_of(const operation& ours, peer_form form) {
    const equivalent* const one = find(ours.name);
    if (!one) return {};
    restore();
    const bool on_itself = one->where == destination::in_place || one->where == destination::blended;
    Mat result = on_itself ? ___images->working : Mat();
    ___images->run(*one, form, result);
    if (result.depth() == CV_16F) result.convertTo(result, CV_32F);
    picture image{static_cast<unsigned>(result.cols),
                  static_cast<unsigned>(result.rows),
                  {static_cast<unsigned>(result.elemSize1()) * 8, static_cast<unsigned>(result.channels())}};
    const std::size_t row_bytes = image.width * image.form.pixel_bytes();
    for (int row = 0; row < result.rows; ++row)
        std::memcpy(&image.bytes[row_bytes * static_cast<unsigned>(row)], result.ptr(row), row_bytes);
    return image;
}

} // namespace zarn_bench
