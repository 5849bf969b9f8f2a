// A second version of a function for x86-64 processors with BMI2, whose shifts by a variable amount cost less.
//
// Entropy decoders do little else than such shifts, and gain a tenth and more. The source is the same: the version's
// name is given this attribute, which compiles it, and all that it calls, for those processors, and its caller asks
// `hasBmi2` which of the two to take. Elsewhere there is the one version, and `hasBmi2` is a false constant.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__)
#define QOR_FOR_BMI2 [[gnu::target("bmi,bmi2"), gnu::flatten]]
#define QOR_HAS_BMI2 (__builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2"))
#else
#define QOR_FOR_BMI2
#define QOR_HAS_BMI2 false
#endif

namespace qor::impl {

inline bool hasBmi2() { return QOR_HAS_BMI2; }

}  // namespace qor::impl

#undef QOR_HAS_BMI2
