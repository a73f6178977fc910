// Linear-time search of a needle in a text of known length, with constant
// extra memory: the two-way algorithm (critical factorisation of the
// needle, then a right-to-left check of its left part), comparing units
// through a folding function so that case-insensitive searches share it.
#pragma once

#include <cstddef>

namespace cairn::text {

namespace two_way_detail {

// Start (minus one) and period of the maximal suffix of x[0..m) by the
// order `less` (or its reverse).
template <typename Unit, typename Fold>
std::ptrdiff_t maximal_suffix(const Unit *x, std::ptrdiff_t m, bool reverse, Fold fold,
                              std::ptrdiff_t *period)
{
    std::ptrdiff_t ms = -1, j = 0, k = 1, p = 1;
    while (j + k < m) {
        auto a = fold(x[j + k]);
        auto b = fold(x[ms + k]);
        if (reverse ? a > b : a < b) {
            j += k;
            k = 1;
            p = j - ms;
        } else if (a == b) {
            if (k != p) {
                ++k;
            } else {
                j += p;
                k = 1;
            }
        } else {
            ms = j;
            j = ms + 1;
            k = p = 1;
        }
    }
    *period = p;
    return ms;
}

template <typename Unit, typename Fold>
bool same(const Unit *a, const Unit *b, std::ptrdiff_t n, Fold fold)
{
    for (std::ptrdiff_t i = 0; i < n; ++i)
        if (fold(a[i]) != fold(b[i]))
            return false;
    return true;
}

}  // namespace two_way_detail

// The first position of x[0..m) in y[0..n) under `fold`, or -1.  m > 0.
template <typename Unit, typename Fold>
std::ptrdiff_t two_way_find(const Unit *y, std::ptrdiff_t n, const Unit *x, std::ptrdiff_t m,
                            Fold fold)
{
    using namespace two_way_detail;
    if (m > n)
        return -1;
    std::ptrdiff_t p1, p2;
    std::ptrdiff_t s1 = maximal_suffix(x, m, false, fold, &p1);
    std::ptrdiff_t s2 = maximal_suffix(x, m, true, fold, &p2);
    std::ptrdiff_t ell = s1 > s2 ? s1 : s2;
    std::ptrdiff_t per = s1 > s2 ? p1 : p2;
    if (same(x, x + per, ell + 1, fold)) {
        // Periodic needle: remember how much of the left part matched.
        std::ptrdiff_t memory = -1;
        for (std::ptrdiff_t j = 0; j <= n - m;) {
            std::ptrdiff_t i = (ell > memory ? ell : memory) + 1;
            while (i < m && fold(x[i]) == fold(y[i + j]))
                ++i;
            if (i < m) {
                j += i - ell;
                memory = -1;
                continue;
            }
            i = ell;
            while (i > memory && fold(x[i]) == fold(y[i + j]))
                --i;
            if (i <= memory)
                return j;
            j += per;
            memory = m - per - 1;
        }
        return -1;
    }
    std::ptrdiff_t left = ell + 1, right = m - ell - 1;
    per = (left > right ? left : right) + 1;
    for (std::ptrdiff_t j = 0; j <= n - m;) {
        std::ptrdiff_t i = ell + 1;
        while (i < m && fold(x[i]) == fold(y[i + j]))
            ++i;
        if (i < m) {
            j += i - ell;
            continue;
        }
        i = ell;
        while (i >= 0 && fold(x[i]) == fold(y[i + j]))
            --i;
        if (i < 0)
            return j;
        j += per;
    }
    return -1;
}

}  // namespace cairn::text
