#include "benchmarks/peer/our_operations.h"

namespace zarn_bench {

const std::vector<pixel_form>& compared_forms() {
    static const std::vector<pixel_form> forms = {{8, 4}, {16, 4}, {8, 1}, {16, 1}, {32, 4}};
    return forms;
}

const std::vector<operation>& our_operations(const pixel_form& form) {
    static const std::vector<operation> rgba_8 = rgba_operations(8), rgba_16 = rgba_operations(16),
                                        value_8 = value_operations(8), value_16 = value_operations(16),
                                        reals = real_operations();
    if (form.channels == 1) return form.bits == 8 ? value_8 : value_16;
    return form.bits == 8 ? rgba_8 : form.bits == 16 ? rgba_16 : reals;
}

} // namespace zarn_bench
