#include "host/cmhost/support/picture_names.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <unistd.h>

#include <climits>

namespace cmhost {

namespace {

constexpr int startNumbers = 5;

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace

bool isNumbered(const std::string& name) { return av_filename_number_test(name.c_str()) != 0; }

std::string numberedName(const std::string& name, int number) {
  char path[PATH_MAX];
  if (!isNumbered(name) || av_get_frame_filename(path, sizeof path, name.c_str(), number) < 0)
    return name;
  return path;
}

bool isOneOf(const std::string& name, const std::string& path) {
  std::size_t begin = 0;
  while (begin < name.size() && name[begin] != '%') ++begin;
  if (path.compare(0, begin, name, 0, begin) != 0) return false;
  const std::size_t digits = path.find_first_not_of("0123456789", begin);
  if (digits == begin || digits == std::string::npos || digits - begin > 9) return false;
  return numberedName(name, std::stoi(path.substr(begin, digits - begin))) == path;
}

std::string firstOf(const std::string& name, int start) {
  if (!isSequence(name)) return name;
  for (int number = start; number < start + startNumbers; ++number)
    if (std::string path = numberedName(name, number); exists(path)) return path;
  return numberedName(name, start);
}

bool isSequence(const std::string& name) { return isNumbered(name) && !exists(name); }

}  // namespace cmhost
