// The blend modes: each one a small function of the destination sample d and the source sample s. To be included inside
// a namespace, once for plain code and once for each instruction set: hence no guard.
//
// They are written over a Math that says what numbers are, so that the same text serves integers of every depth, reals
// and vectors of either. It has, all static:
//
//   number              +, -, *, <, <=, >=. A product may be of a type of its own, which only the divisions below take,
//                       unless numbers are reals. Integers may be unsigned: no mode takes the greater from the less,
//                       except where the result is not chosen.
//   zero(), full()      the ends of the range                                    0, 255
//   half(), quarter()   the middle of the range and half of that                 128, 64
//   above(), twice_above_less_one()                                              256, 511
//   times_above(x)      256 x, as a dividend
//   choose(condition, a, b)   both are computed; a quotient by 0 must do no harm
//   halved(x), quotient(a, b) divisions: truncating for integers; quotients above full scale count as full scale, so
//                       any number from there on will do
//   over_above(x)       x / 256 truncated; reals: x
//   over_full(x), twice_over_full(x)   x / 255, 2 x / 255
//   real                whether numbers are reals on 0..1
//
// Adding a mode: a struct here, a word in ZARN_FOR_EACH_BLEND_MODE, a code in <zarn/blend.h>.

template <class Math, class Number = typename Math::number>
Number least(Number a, Number b) {
    return Math::choose(b < a, b, a);
}

template <class Math, class Number = typename Math::number>
Number greatest(Number a, Number b) {
    return Math::choose(a < b, b, a);
}

template <class Math, class Number = typename Math::number>
Number distance(Number a, Number b) {
    return Math::choose(a < b, b - a, a - b);
}

template <class Math, class Number = typename Math::number>
Number sum_above(Number a, Number b, Number bound) {
    const Number sum = a + b;
    return Math::choose(sum >= bound, sum - bound, Math::zero());
}

template <class Math, class Number = typename Math::number>
Number capped(Number x) {
    return least<Math>(x, Math::full());
}

// Multiplied in the dark half of `by`, screened in its bright half.
template <class Math, class Number = typename Math::number>
Number multiplied_or_screened(Number by, Number d, Number s) {
    const auto is_dark = by < Math::half();
    const Number a = Math::choose(is_dark, s, Math::full() - s), b = Math::choose(is_dark, d, Math::full() - d);
    const Number product = Math::twice_over_full(a * b);
    return Math::choose(is_dark, product, Math::full() - product);
}

// `divisor` may be 0: then the result is nobody's.
template <class Math, class Number = typename Math::number>
Number burned(Number s, Number divisor) {
    return Math::full() - capped<Math>(Math::quotient(Math::times_above(Math::full() - s), divisor));
}

#define ZARN_BLEND_MODE(name, ...)                                                                                     \
    struct name {                                                                                                      \
        template <class Math, class Number = typename Math::number>                                                    \
        static Number apply([[maybe_unused]] Number d, [[maybe_unused]] Number s) {                                    \
            __VA_ARGS__                                                                                                \
        }                                                                                                              \
    };

ZARN_BLEND_MODE(normal, return s;)
ZARN_BLEND_MODE(lighten, return greatest<Math>(d, s);)
ZARN_BLEND_MODE(darken, return least<Math>(d, s);)
ZARN_BLEND_MODE(multiply, return Math::over_full(s * d);)
ZARN_BLEND_MODE(average, return Math::halved(s + d);)
ZARN_BLEND_MODE(add, return capped<Math>(s + d);)
ZARN_BLEND_MODE(subtract, return sum_above<Math>(s, d, Math::full());)
ZARN_BLEND_MODE(difference, return distance<Math>(d, s);)
ZARN_BLEND_MODE(negation, return Math::full() - distance<Math>(Math::full() - s, d);)
ZARN_BLEND_MODE(screen, return Math::full() - Math::over_above((Math::full() - s) * (Math::full() - d));)
ZARN_BLEND_MODE(exclusion, return s + d - Math::twice_over_full(s * d);)
ZARN_BLEND_MODE(hard_light, return multiplied_or_screened<Math>(s, d, s);)
ZARN_BLEND_MODE(soft_light, {
    const Number lifted = Math::halved(d) + Math::quarter();
    // Integers divide the source by full scale first, which leaves nothing of the dark half.
    Number dark = Math::zero();
    if constexpr (Math::real) dark = lifted * s + lifted * s;
    return Math::choose(s < Math::half(), dark,
                        Math::full() - Math::twice_over_full((Math::full() - lifted) * (Math::full() - s)));
})
ZARN_BLEND_MODE(overlay, return multiplied_or_screened<Math>(d, d, s);)
ZARN_BLEND_MODE(color_dodge, {
    return Math::choose(d >= Math::full(), Math::full(),
                        capped<Math>(Math::quotient(Math::times_above(s), Math::full() - d)));
})
ZARN_BLEND_MODE(color_burn, return Math::choose(d <= Math::zero(), Math::zero(), burned<Math>(s, d));)
ZARN_BLEND_MODE(linear_dodge, return add::apply<Math>(d, s);)
ZARN_BLEND_MODE(linear_burn, return subtract::apply<Math>(d, s);)
ZARN_BLEND_MODE(linear_light, {
    const Number bright = d - Math::half();
    return Math::choose(d < Math::half(), sum_above<Math>(s, d + d, Math::full()), capped<Math>(s + (bright + bright)));
})
ZARN_BLEND_MODE(vivid_light, {
    // One quotient serves both halves: divisions cost the most.
    const auto is_dark = d < Math::half();
    const Number divisor = Math::choose(is_dark, d + d, Math::twice_above_less_one() - (d + d));
    const Number amount = Math::choose(is_dark, Math::full() - s, s);
    const Number part = capped<Math>(Math::quotient(Math::times_above(amount), divisor));
    const Number dark = Math::choose(d <= Math::zero(), Math::zero(), Math::full() - part);
    Number bright = part;
    // The integers' divisor ends at 1, the reals' at 0.
    if constexpr (Math::real) bright = Math::choose(d >= Math::full(), Math::full(), bright);
    return Math::choose(is_dark, dark, bright);
})
ZARN_BLEND_MODE(pin_light, {
    return Math::choose(d < Math::half(), least<Math>(s, d + d), greatest<Math>(s, d + d - Math::above()));
})
// Vivid light, cut at the middle. Of integers, 256 (255 - s) / 2d reaches 128 exactly where 255 - s reaches d, and
// 256 s / (511 - 2d) stays below 128 exactly where 2 s < 511 - 2d: in both halves of d, s + d above 255 is what is
// full.
ZARN_BLEND_MODE(hard_mix, {
    if constexpr (Math::real) {
        return Math::choose(vivid_light::apply<Math>(d, s) < Math::half(), Math::zero(), Math::full());
    } else {
        return Math::choose(s + d <= Math::full(), Math::zero(), Math::full());
    }
})
ZARN_BLEND_MODE(reflect, {
    return Math::choose(s >= Math::full(), Math::full(), capped<Math>(Math::quotient(d * d, Math::full() - s)));
})
ZARN_BLEND_MODE(glow, return reflect::apply<Math>(s, d);)
ZARN_BLEND_MODE(phoenix, return Math::full() - distance<Math>(d, s);)

#undef ZARN_BLEND_MODE

// In the order of the codes, which start at 0.
#ifndef ZARN_FOR_EACH_BLEND_MODE
    #define ZARN_FOR_EACH_BLEND_MODE(apply)                                                                            \
        apply(normal) apply(lighten) apply(darken) apply(multiply) apply(average) apply(add) apply(subtract)           \
            apply(difference) apply(negation) apply(screen) apply(exclusion) apply(hard_light) apply(soft_light)       \
                apply(overlay) apply(color_dodge) apply(color_burn) apply(linear_dodge) apply(linear_burn)             \
                    apply(linear_light) apply(vivid_light) apply(pin_light) apply(hard_mix) apply(reflect) apply(glow) \
                        apply(phoenix)
#endif
