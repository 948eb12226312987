// Test helper: a fresh temporary TARN_ROOT for one test, removed after it,
// with TARN_SERVICE_ID unset so every looper takes the id its test gives.
#ifndef TESTS_PLATFORM_TEST_ROOT_H
#define TESTS_PLATFORM_TEST_ROOT_H

#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace tarn_test {

class TempRoot {
 public:
  TempRoot() {
    char tmpl[] = "/tmp/tarn-test-XXXXXX";
    dir_ = mkdtemp(tmpl);
    setenv("TARN_ROOT", dir_.c_str(), 1);
    unsetenv("TARN_SERVICE_ID");
  }
  ~TempRoot() {
    nftw(dir_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return ::remove(p); }, 16,
         FTW_DEPTH | FTW_PHYS);
    unsetenv("TARN_ROOT");
  }
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
};

}  // namespace tarn_test

#endif  // TESTS_PLATFORM_TEST_ROOT_H
