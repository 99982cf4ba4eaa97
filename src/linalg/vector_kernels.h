// Passes over contiguous vectors: what Lanczos spends its time in, next to H itself.
//
// All vectors of a call have n elements. Sums run in lanes and in chunks that fit the cache, in an order that
// depends on n only, so that results repeat to the digit.
#pragma once

#include <cstddef>

#include "host/base/complex16.h"

namespace fermix {

// <a|b>, a conjugated.
double Dot(const double* a, const double* b, std::size_t n);
Complex16 Dot(const Complex16* a, const Complex16* b, std::size_t n);

// Square root of <a|a>.
double Norm(const double* a, std::size_t n);
double Norm(const Complex16* a, std::size_t n);

// y *= factor
void Scale(double* y, double factor, std::size_t n);
void Scale(Complex16* y, double factor, std::size_t n);

// d[i] = <v[i]|w> for i < count: each vector is read once, w stays in the cache. T is double or Complex16.
template <class T>
void DotEach(const T* const* v, std::size_t count, const T* w, std::size_t n, T* d);

// w += sum over i < count of c[i] v[i], in one pass.
template <class T>
void AddEach(const T* const* v, std::size_t count, const T* c, T* w, std::size_t n);

// Both in one pass: the sum, and d[i] = <v[i]|w> of what has become of w. Gives <w|w>.
template <class T>
double AddAndDotEach(const T* const* v, std::size_t count, const T* c, T* w, std::size_t n, T* d);

}  // namespace fermix
