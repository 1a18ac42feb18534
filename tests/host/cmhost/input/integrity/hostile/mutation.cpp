#include "tests/host/cmhost/input/integrity/hostile/mutation.h"

#include <algorithm>
#include <random>

namespace hostile {

namespace {

class Mutator {
 public:
  Mutator(const std::string& bytes, std::uint32_t seed) : random_(seed), file_{bytes, ""} {}

  Mutated mutate() {
    switch (below(12)) {
      case 0:
        flipBits(1, 0, size());
        break;
      case 1:
        flipBits(1 + below(16), 0, size());
        break;
      case 2:
        flipBits(1, 0, 256);
        break;
      case 3:
        flipBits(1 + below(4), size() - std::min<std::size_t>(size(), 256), size());
        break;
      case 4:
      case 5:
        setNumber();
        break;
      case 6:
        overwrite('\0');
        break;
      case 7:
        overwrite('\xFF');
        break;
      case 8:
        cut();
        break;
      case 9:
        remove();
        break;
      case 10:
        repeat();
        break;
      default:
        exchange();
        break;
    }
    return file_;
  }

 private:
  std::size_t size() const { return file_.bytes.size(); }
  std::size_t below(std::size_t end) { return end == 0 ? 0 : random_() % end; }

  void changed(const std::string& what, std::size_t at, std::size_t count) {
    file_.end = std::max(file_.end, at + count);
    file_.what += (file_.what.empty() ? "" : ", ") + what + " at " + std::to_string(at) + " (" +
                  std::to_string(count) + ")";
  }

  void flipBits(std::size_t count, std::size_t begin, std::size_t end) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = begin + below(std::min(end, size()) - begin);
      const std::size_t bit = below(8);
      file_.bytes[at] = static_cast<char>(file_.bytes[at] ^ 1 << bit);
      changed("bit " + std::to_string(bit) + " flipped", at, 1);
    }
  }

  // This may hit a length, a count or an offset.
  void setNumber() {
    static constexpr std::uint32_t numbers[] = {0,          1,          0x7F,       0xFF,
                                                0x7FFF,     0xFFFF,     0x10000,    0x7FFFFFFF,
                                                0x80000000, 0xFFFFFFFE, 0xFFFFFFFF, 0x00FFFFFF};
    const std::size_t place = below(2) == 0 ? std::min<std::size_t>(size(), 1024) : size();
    const std::size_t at = below(place);
    const std::uint32_t number = numbers[below(std::size(numbers))];
    const bool bigEndian = below(2) == 0;
    const std::size_t count = std::min<std::size_t>(std::size_t{1} << below(3), size() - at);
    for (std::size_t i = 0; i < count; ++i)
      file_.bytes[at + i] = static_cast<char>(number >> 8 * (bigEndian ? count - 1 - i : i));
    changed("number " + std::to_string(number), at, count);
  }

  std::size_t someBytes(std::size_t at) {
    const std::size_t most = below(2) == 0 ? 16 : 4096;
    return std::min(1 + below(most), size() - at);
  }

  void overwrite(char value) {
    const std::size_t at = below(size());
    const std::size_t count = someBytes(at);
    file_.bytes.replace(at, count, count, value);
    changed("overwritten", at, count);
  }

  void cut() {
    const std::size_t at = 1 + below(size() - 1);
    changed("cut", at, size() - at);
    file_.bytes.resize(at);
    file_.isCut = true;
  }

  void remove() {
    const std::size_t at = below(size());
    const std::size_t count = someBytes(at);
    changed("removed", at, count);
    file_.bytes.erase(at, count);
  }

  void repeat() {
    const std::size_t at = below(size());
    const std::size_t count = someBytes(at);
    changed("repeated", at, count);
    file_.bytes.insert(at, file_.bytes.substr(at, count));
  }

  void exchange() {
    const std::size_t count = std::min<std::size_t>(1 + below(512), size() / 4);
    const std::size_t first = below(size() / 2 - count);
    const std::size_t second = size() / 2 + below(size() / 2 - count);
    std::swap_ranges(file_.bytes.begin() + static_cast<std::ptrdiff_t>(first),
                     file_.bytes.begin() + static_cast<std::ptrdiff_t>(first + count),
                     file_.bytes.begin() + static_cast<std::ptrdiff_t>(second));
    changed("exchanged with " + std::to_string(first), second, count);
  }

  std::mt19937 random_;
  Mutated file_;
};

}  // namespace

Mutated mutated(const std::string& bytes, std::uint32_t seed) {
  return Mutator(bytes, seed).mutate();
}

}  // namespace hostile
