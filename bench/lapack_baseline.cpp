#include "lapack_baseline.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>

#include "full_run.h"

extern "C" void dgelsd_(const int* m, const int* n, const int* nrhs, double* a, const int* lda,
                        double* b, const int* ldb, double* s, const double* rcond, int* rank,
                        double* work, const int* lwork, int* iwork, int* info);

namespace zenfit::bench {

const test::DesignMatrix& fitProblem(int n) {
  static std::map<int, test::DesignMatrix> problems;
  auto found = problems.find(n);
  if (found == problems.end()) {
    const auto run = fullRun(n);
    found = problems.emplace(n, test::designMatrix(run->context(), run->model, *run->list)).first;
  }
  return found->second;
}

double median(std::vector<double> times) {
  if (times.empty()) return 0.0;
  std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
  return times[times.size() / 2];
}

// dgelsd on a column-major copy, its work space sized by its own query,
// singular values below FIT's default FITTOL (0.01) of the largest dropped.
struct LapackBaseline::Solver {
  const test::DesignMatrix& d;
  std::vector<double> columnMajor, a, b, s, work;
  std::vector<int> iwork;

  explicit Solver(const test::DesignMatrix& problem)
      : d(problem), columnMajor(d.a.size()), s(d.columns) {
    for (int i = 0; i < d.rows; ++i)
      for (int j = 0; j < d.columns; ++j) columnMajor[j * d.rows + i] = d.a[i * d.columns + j];
    double size = 0.0;
    int isize = 0;
    reset();
    call(-1, &size, &isize);
    work.resize(static_cast<std::size_t>(size));
    iwork.resize(static_cast<std::size_t>(isize));
  }
  void reset() {
    a = columnMajor;
    b = d.b;
  }
  int call(int lwork, double* w, int* iw) {
    const int nrhs = 1;
    const double rcond = 0.01;
    int rank = 0, info = 0;
    dgelsd_(&d.rows, &d.columns, &nrhs, a.data(), &d.rows, b.data(), &d.rows, s.data(), &rcond,
            &rank, w, &lwork, iw, &info);
    return info;
  }
};

LapackBaseline::LapackBaseline(int n) : solver_(std::make_unique<Solver>(fitProblem(n))) {}
LapackBaseline::~LapackBaseline() = default;

double LapackBaseline::time() {
  solver_->reset();
  const auto start = std::chrono::steady_clock::now();
  solver_->call(static_cast<int>(solver_->work.size()), solver_->work.data(),
                solver_->iwork.data());
  times_.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return times_.back();
}

double LapackBaseline::median() const { return bench::median(times_); }

std::string lapackLibraries() {
  std::string text;
  for (const char* symbol : {"dgelsd_", "dgemm_"}) {
    Dl_info info{};
    void* address = dlsym(RTLD_DEFAULT, symbol);
    char* path = address && dladdr(address, &info) && info.dli_fname
                     ? realpath(info.dli_fname, nullptr)
                     : nullptr;
    text += (text.empty() ? "" : " ") + std::string(path ? path : "(not found)");
    std::free(path);
  }
  return text;
}

}  // namespace zenfit::bench
