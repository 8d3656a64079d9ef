#include "benchmarks/peer/our_operations.h"

#include <utility>

namespace zarn_bench {

namespace {

std::vector<operation> with_transforms(std::vector<operation> operations, const pixel_form& form) {
    for (operation& one : transform_operations(form)) operations.push_back(std::move(one));
    return operations;
}

} // namespace

const std::vector<pixel_form>& compared_forms() {
    static const std::vector<pixel_form> forms = {{8, 4}, {16, 4}, {8, 1}, {16, 1}, {32, 4}};
    return forms;
}

const std::vector<operation>& our_operations(const pixel_form& form) {
    static const std::vector<operation> rgba_8 = with_transforms(rgba_operations(8), {8, 4}),
                                        rgba_16 = with_transforms(rgba_operations(16), {16, 4}),
                                        value_8 = with_transforms(value_operations(8), {8, 1}),
                                        value_16 = with_transforms(value_operations(16), {16, 1}),
                                        reals = real_operations();
    if (form.channels == 1) return form.bits == 8 ? value_8 : value_16;
    return form.bits == 8 ? rgba_8 : form.bits == 16 ? rgba_16 : reals;
}

} // namespace zarn_bench
