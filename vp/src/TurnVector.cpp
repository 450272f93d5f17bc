#include "vp/src/Features.h"
#include "vp/src/Turn.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vp/src/TurnVector.cpp"
#include "hwy/foreach_target.h"  // keep before highway.h
#include "hwy/highway.h"
#include "vp/src/Mirror-inl.h"
#include "vp/src/Transposition-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qorvp {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128

TurnKernels vectorTurns() {
    return kPlainTurnKernels;
}

#else

// What is smaller than blocks or vectors is left to the plain forms.

template <int bytes>
void turnBy90(const Plane& from, const Plane& to) {
    if (Transposition<bytes>::fits(from))
        Transposition<bytes>::run(flipped(from), to);
    else
        turn90(from, to);
}

template <int bytes>
void turnBy180(const Plane& from, const Plane& to) {
    if (from.width < Mirror<bytes>::kLeastWidth) return turn180(from, to);
    for (int y = 0; y < from.height; ++y) Mirror<bytes>::copy(from.row(from.height - 1 - y), to.row(y), from.width);
}

template <int bytes>
void turnBy270(const Plane& from, const Plane& to) {
    if (!Transposition<bytes>::fits(from)) return turn270(from, to);
    Plane turned = to;
    turned.height = from.width;
    Transposition<bytes>::run(from, flipped(turned));
}

template <int bytes>
void mirror(uint8_t* row, int width) {
    if (width < Mirror<bytes>::kLeastWidth)
        mirrorRow(row, width, bytes);
    else
        Mirror<bytes>::inPlace(row, width);
}

void vectorTurn90(const Plane& from, const Plane& to) {
    static constexpr PlaneTurn kForms[] = {turnBy90<1>, turnBy90<2>, turnBy90<3>, turnBy90<4>};
    kForms[from.bytes - 1](from, to);
}

void vectorTurn180(const Plane& from, const Plane& to) {
    static constexpr PlaneTurn kForms[] = {turnBy180<1>, turnBy180<2>, turnBy180<3>, turnBy180<4>};
    kForms[from.bytes - 1](from, to);
}

void vectorTurn270(const Plane& from, const Plane& to) {
    static constexpr PlaneTurn kForms[] = {turnBy270<1>, turnBy270<2>, turnBy270<3>, turnBy270<4>};
    kForms[from.bytes - 1](from, to);
}

void vectorMirror(uint8_t* row, int width, int bytes) {
    static constexpr void (*kForms[])(uint8_t*, int) = {mirror<1>, mirror<2>, mirror<3>, mirror<4>};
    kForms[bytes - 1](row, width);
}

TurnKernels vectorTurns() {
    return {vectorTurn90, vectorTurn180, vectorTurn270, vectorMirror};
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace qorvp
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qorvp {

HWY_EXPORT(vectorTurns);

TurnKernels turnKernels(uint32_t features) {
    const auto form = vectorForm(features);
    return form ? HWY_DISPATCH_TABLE(vectorTurns)[*form]() : kPlainTurnKernels;
}

}  // namespace qorvp

#endif  // HWY_ONCE
