// Runs a fuzz target over the files of the folders named on the command line,
// and over changed copies of them: the same ones in every run.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace {

void run(const std::string& bytes) {
  // An exact-size copy: a sanitizer sees the first byte read too far.
  const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kCopies = 200;
  int replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(in), {}};
      run(bytes);
      ++replayed;
      // Anew, as the files come in any order, and the same each time.
      // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp)
      std::mt19937 random;
      std::string copy;
      for (int n = 0; n < kCopies; ++n) {
        copy = n % 16 == 0 ? bytes : copy;
        // A few bytes are taken out, and a few put in.
        copy.replace(random() % (copy.size() + 1), random() % 4, random() % 4,
                     static_cast<char>(random()));
        run(copy);
      }
    }
  }
  std::printf("%d inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
