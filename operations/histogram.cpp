#include "operations/histogram.h"

#include <algorithm>
#include <cmath>

#include "core/owned_array.h"
#include "kernels/histogram.h"
#include "operations/frame.h"

namespace zarn {

namespace {

constexpr const wchar_t* record = L"build_histogram_a";

// The channel of the histogram that takes a measure.
template <class Format>
constexpr unsigned channel_of(unsigned measure) noexcept {
    return Format::colours == 3 ? measure + 1 : measure * 4; // the value, the alpha
}

// The bins and sums of every band.
class band_tallies {
public:
    band_tallies(std::uint32_t bands, unsigned measure_count, std::uint32_t bins) noexcept {
        const std::uint64_t per_band = static_cast<std::uint64_t>(measure_count) * bins;
        if (per_band > UINT64_MAX / bands) return;
        ___tallies = allocate_array<histogram_tally>(bands);
        ___bins = allocate_array<std::uint32_t>(per_band * bands);
        if (!*this) return;
        std::fill_n(___bins.get(), per_band * bands, 0u);
        for (std::uint32_t band = 0; band < bands; ++band) {
            ___tallies[band] = {};
            for (unsigned i = 0; i < measure_count; ++i)
                ___tallies[band].bins[i] = ___bins.get() + band * per_band + static_cast<std::uint64_t>(i) * bins;
        }
    }

    explicit operator bool() const noexcept { return ___tallies && ___bins; }
    histogram_tally* get() const noexcept { return ___tallies.get(); }

private:
    owned_array<histogram_tally> ___tallies;
    owned_array<std::uint32_t> ___bins;
};

bool make_bins(zarn_histogram_channel_s& channel, std::uint32_t bins) noexcept {
    channel.bins.set_size(bins);
    channel.bins.set_count_to_size();
    return channel.bins.count == bins;
}

void add_bins(zarn_histogram_channel_s& channel, const std::uint32_t* bins) noexcept {
    for (std::uint32_t i = 0; i < channel.bins.count; ++i) channel.bins.data[i] += bins[i];
}

void find_max_count(zarn_histogram_channel_s& channel) noexcept {
    channel.max_count = *std::max_element(channel.bins.data, channel.bins.data + channel.bins.count);
}

// What is found in a second pass, once the means are known.
struct summary_job {
    const half_float::half* pixels;
    std::uint64_t count;
    std::uint64_t step; // of the pixels that medians look at
    float means[most_measures];
    float* squared_deviations;
    std::uint32_t* counters;
    float* medians;
    float* median_of_colours;
};

template <class Format>
void find_medians(const summary_job& job) {
    count_values<Format>(job.pixels, job.count, job.step, job.counters);
    const std::uint64_t sampled = (job.count + job.step - 1) / job.step;
    for (unsigned i = 0; i < channels<Format>; ++i)
        job.medians[i] = ranked_sample(job.counters + std::size_t{i} * half_values, sampled / 2);
    if constexpr (Format::colours == 3) {
        job.medians[luminance_measure] = ranked_luminance(job.pixels, job.count, job.step, sampled / 2,
                                                          job.counters + std::size_t{luminance_measure} * half_values);
        for (std::uint32_t i = 0; i < half_values; ++i)
            job.counters[i] += job.counters[half_values + i] + job.counters[2 * half_values + i];
        *job.median_of_colours = ranked_sample(job.counters, sampled * 3 / 2);
    }
}

// Of two tasks: deviations and medians.
template <class Format>
void summary_tasks(const summary_job& job, row_range tasks) {
    if (tasks.start == 0) add_squared_deviations<Format>(job.pixels, job.count, job.means, job.squared_deviations);
    if (tasks.end == 2) find_medians<Format>(job);
}

// Channel 0 of a colour image, but for the bins and the median: three groups of one size, pooled.
void pool_colours(zarn_histogram_channel_s (&channel)[6]) noexcept {
    const float m1 = channel[1].mean, m2 = channel[2].mean, m3 = channel[3].mean;
    const float s1 = channel[1].std_dev, s2 = channel[2].std_dev, s3 = channel[3].std_dev;
    const float variance = (s1 * s1 + s2 * s2 + s3 * s3) * 0.33333334f + (m1 * m1 + m2 * m2 + m3 * m3) * 0.22222222f -
                           ((m3 + m2) * m1 + m3 * m2) * 0.22222222f;
    channel[0].mean = (m1 + m2 + m3) * 0.33333334f;
    channel[0].std_dev = variance < 0.0f ? 0.0f : std::sqrt(variance); // rounding may leave less than nothing
}

template <class Format>
unsigned int measure(image_state& image, std::uint32_t bins, zarn_histogram_s& histogram) noexcept {
    constexpr unsigned measured = measures<Format>;
    constexpr bool colour = Format::colours == 3;
    const std::uint32_t band_count = at_most_one_band_per_row(image, image.height);
    operation_bands bands(image, record, 0, image.height, band_count);
    if (!bands) return 0;
    operation_bands tasks(image, record, 0, 2, std::min(thread_limit(image), 2u));
    if (!tasks) return 0;
    const band_tallies tallies(band_count, measured, bins);
    const auto counters = allocate_array<std::uint32_t>(std::uint64_t{measured} * half_values);
    bool allocated = tallies && counters;
    for (unsigned i = 0; allocated && i < measured; ++i)
        allocated = make_bins(histogram.channel[channel_of<Format>(i)], bins);
    if (allocated && colour) allocated = make_bins(histogram.channel[0], bins);
    if (!allocated) {
        histogram.free();
        fail_record_allocation(image, record);
        return 0;
    }

    const histogram_job rows_job{samples<Format>(image), image.width, bins, tallies.get()};
    bands.run(rows_job, histogram_rows<Format>);

    const std::uint64_t count = pixel_count(image);
    const float share = 1.0f / static_cast<float>(count);
    float squared_deviations[most_measures] = {}, medians[most_measures] = {};
    summary_job job{samples<Format>(image), count,          1,       {},
                    squared_deviations,     counters.get(), medians, &histogram.channel[0].median};
    if (count > 1u << 20) job.step = (count + (1u << 19)) >> 20;
    for (unsigned i = 0; i < channels<Format>; ++i) {
        float sum = 0.0f;
        for (std::uint32_t band = 0; band < band_count; ++band) sum += tallies.get()[band].sums[i];
        job.means[i] = sum * share;
    }
    if (colour) job.means[luminance_measure] = luminance(job.means[0], job.means[1], job.means[2]);
    std::fill_n(counters.get(), measured * half_values, 0u);
    tasks.run(job, summary_tasks<Format>);

    for (unsigned i = 0; i < measured; ++i) {
        zarn_histogram_channel_s& channel = histogram.channel[channel_of<Format>(i)];
        for (std::uint32_t band = 0; band < band_count; ++band) add_bins(channel, tallies.get()[band].bins[i]);
        channel.mean = job.means[i];
        // The luminance alone is divided.
        channel.std_dev = std::sqrt(i == luminance_measure ? squared_deviations[i] / static_cast<float>(count)
                                                           : squared_deviations[i] * share);
        channel.median = medians[i];
        find_max_count(channel);
    }
    if (colour) {
        for (unsigned i = 1; i <= 3; ++i) add_bins(histogram.channel[0], histogram.channel[i].bins.data);
        find_max_count(histogram.channel[0]);
        pool_colours(histogram.channel);
    }
    histogram.pixel_count = static_cast<std::uint32_t>(count);
    return 1;
}

} // namespace

unsigned int build_histogram(image_state& image, bool is_grayscale, std::uint32_t bins,
                             zarn_histogram_s& histogram) noexcept {
    histogram.free();
    if (bins == 0) return fail_method(image, L"build_histogram(). Invalid number of bins.");
    if (!has_pixels(image)) return 1;
    return is_grayscale ? measure<grey_real_16>(image, bins, histogram)
                        : measure<colour_real_16>(image, bins, histogram);
}

} // namespace zarn
