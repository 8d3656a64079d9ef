// OpenCV's nearest equivalent of each operation.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "benchmarks/peer/our_operations.h"
#include "benchmarks/peer/picture.h"

namespace zarn_bench {

// The peer with one source picture.
//
// An operation that builds a new array here allocates its destination afresh in each call and releases it; the images
// in between (colour multiplied with alpha, the boxes of a chain) are kept from call to call, which is kind to the
// peer.
class peer {
public:
    explicit peer(const picture& source); // kept by reference
    ~peer();
    peer(const peer&) = delete;
    peer& operator=(const peer&) = delete;

    static void set_threads(unsigned count);
    static std::string version();

    // What it calls, as in "resize INTER_AREA"; empty where it has no equivalent.
    static std::string description(const operation& one);

    // One call, result dropped; empty where the operation has no such form.
    std::function<void()> call(const operation& one, peer_form form);

    // Makes the working picture as the source is.
    void restore();

    // What the form makes of the source.
    picture result_of(const operation& one, peer_form form);

private:
    struct images;
    std::unique_ptr<images> ___images;
};

} // namespace zarn_bench
