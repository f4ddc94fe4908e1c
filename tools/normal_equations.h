// Normal equations of ridge regressions and their Cholesky solution: one system per weight vector,
// or a chain of them tied together where neighbouring vectors are pulled toward each other.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace vireo_tools {

// Normal equations of n unknowns; the lower triangle of a is filled.
struct System {
    int n = 0;
    std::vector<double> a, b;
    void init(int size) {
        n = size;
        a.assign(size_t(n) * n, 0.0);
        b.assign(n, 0.0);
    }
    // One row: its nonzero inputs (index, value), indices ascending, and its target.
    void add(const int* index, const double* value, int count, double target) {
        for (int p = 0; p < count; p++) {
            double* row = &a[size_t(index[p]) * n];
            for (int q = 0; q <= p; q++) row[index[q]] += value[p] * value[q];
            b[index[p]] += value[p] * target;
        }
    }
    void addToDiagonal(int first, int end, double value) {
        for (int i = first; i < end; i++) a[size_t(i) * n + i] += value;
    }
};

// Replaces the lower triangle of the symmetric positive definite a by its Cholesky factor;
// false when a is not positive definite.
inline bool choleskyFactor(std::vector<double>& a, int n) {
    for (int j = 0; j < n; j++) {
        double d = a[size_t(j) * n + j];
        for (int k = 0; k < j; k++) d -= a[size_t(j) * n + k] * a[size_t(j) * n + k];
        if (!(d > 0)) return false;
        d = std::sqrt(d);
        a[size_t(j) * n + j] = d;
        for (int i = j + 1; i < n; i++) {
            double s = a[size_t(i) * n + j];
            const double* ri = &a[size_t(i) * n];
            const double* rj = &a[size_t(j) * n];
            for (int k = 0; k < j; k++) s -= ri[k] * rj[k];
            a[size_t(i) * n + j] = s / d;
        }
    }
    return true;
}

// Solves l l^T x = b in place, l a factor from choleskyFactor.
inline void choleskySubstitute(const std::vector<double>& l, std::vector<double>& b, int n) {
    for (int i = 0; i < n; i++) {
        double s = b[i];
        for (int k = 0; k < i; k++) s -= l[size_t(i) * n + k] * b[k];
        b[i] = s / l[size_t(i) * n + i];
    }
    for (int i = n - 1; i >= 0; i--) {
        double s = b[i];
        for (int k = i + 1; k < n; k++) s -= l[size_t(k) * n + i] * b[k];
        b[i] = s / l[size_t(i) * n + i];
    }
}

// Solves the symmetric positive definite system a x = b in place (Cholesky, lower triangle).
inline bool choleskySolve(std::vector<double>& a, std::vector<double>& b, int n) {
    if (!choleskyFactor(a, n)) return false;
    choleskySubstitute(a, b, n);
    return true;
}

// Solves a chain of systems in which the first `shared` unknowns of each system are tied to those
// of the next one by the term coupling * |x_k - x_{k+1}|^2 of the minimised sum. The diagonal part
// of that term (coupling per neighbour) is added here; the systems must hold everything else.
// Block elimination along the chain costs a few factorisations of each block, where one joint
// Cholesky of all unknowns would cost the cube of their total. The systems are consumed.
inline bool solveChain(std::vector<System>& chain, int shared, double coupling, std::vector<std::vector<double>>* x) {
    size_t count = chain.size();
    for (size_t k = 0; k < count; k++) {
        int neighbours = (k > 0) + (k + 1 < count);
        chain[k].addToDiagonal(0, shared, coupling * neighbours);
    }
    // Forward: each system absorbs the one before it, a_k -= c^2 (a_{k-1}^-1)[shared block] and
    // b_k += c (a_{k-1}^-1 b_{k-1})[shared part], with a_{k-1} and b_{k-1} as already absorbed.
    for (size_t k = 0; k < count; k++) {
        System& s = chain[k];
        if (k > 0) {
            System& previous = chain[k - 1];
            int m = previous.n;
            std::vector<double> column(m), solved = previous.b;
            choleskySubstitute(previous.a, solved, m);
            for (int i = 0; i < shared; i++) s.b[i] += coupling * solved[i];
            for (int j = 0; j < shared; j++) {
                std::fill(column.begin(), column.end(), 0.0);
                column[j] = 1.0;
                choleskySubstitute(previous.a, column, m);
                for (int i = j; i < shared; i++) s.a[size_t(i) * s.n + j] -= coupling * coupling * column[i];
            }
        }
        if (!choleskyFactor(s.a, s.n)) return false;
    }
    // Backward: x_k = a_k^-1 (b_k + c x_{k+1}[shared part]).
    x->assign(count, {});
    for (size_t k = count; k-- > 0;) {
        std::vector<double> right = chain[k].b;
        if (k + 1 < count)
            for (int i = 0; i < shared; i++) right[i] += coupling * (*x)[k + 1][i];
        choleskySubstitute(chain[k].a, right, chain[k].n);
        (*x)[k] = right;
    }
    return true;
}

} // namespace vireo_tools
