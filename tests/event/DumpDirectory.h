// The event test binaries are linked with host_data_aon: an fopen of a path under "/data/aon/" goes
// into the live DumpDirectory's private temporary directory and is recorded (path as asked, mode)
// in call order. With none alive it fails with EACCES: no test writes to the real one.
#pragma once

#include <string>
#include <vector>

namespace aon_test {

class DumpDirectory final {
  public:
    struct Open {
        std::string path;  // as the product asked for it, "/data/aon/..."
        std::string mode;
    };

    // `present` false stands for a device without the directory: opens go to a path that does not
    // exist and fail as fopen fails there.
    explicit DumpDirectory(bool present = true);
    ~DumpDirectory();

    std::vector<Open> opens() const;
    std::string read(const std::string& dataAonPath) const;  // what the product wrote there
    bool exists() const;  // whether the stand-in directory exists (a missing one must stay so)

  private:
    std::string mTempRoot;
    std::string mRoot;
};

}  // namespace aon_test
