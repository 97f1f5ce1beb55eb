// The yardstick of the least-squares benchmarks: LAPACK's dgelsd (Debian's
// reference LAPACK over the reference BLAS, one thread) on FIT's design
// matrix of the same size, timed in the same iterations as the benchmark
// it is compared with, so that both see the same load on the machine.
// Benchmarks only; the engine links no LAPACK.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "fit/design_matrix.h"

namespace zenfit::bench {

// FIT's design matrix and residual rows for 4999 stars and the first n
// standard terms (see full_run.h), made once per process.
const test::DesignMatrix& fitProblem(int n);

class LapackBaseline {
 public:
  explicit LapackBaseline(int n);  // on fitProblem(n)
  ~LapackBaseline();

  // One dgelsd from a fresh copy of the matrix (the copy not timed);
  // returns its time in seconds and keeps it.
  double time();
  // The median of the kept times.
  double median() const;

 private:
  struct Solver;
  std::unique_ptr<Solver> solver_;
  std::vector<double> times_;
};

// The median of a set of times.
double median(std::vector<double> times);

// The real paths of the shared libraries that supply dgelsd_ and dgemm_, to
// show which LAPACK and BLAS ran.
std::string lapackLibraries();

}  // namespace zenfit::bench
