// cmhost's check of a container's outermost lengths, for files and pipes with any content.
#include "host/cmhost/input/integrity/file_structure.h"

#include <sys/mman.h>
#include <unistd.h>

#include "tests/fuzz/byte_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int file = memfd_create("container", 0);
  fuzz::require(file >= 0, "no file in memory");
  fuzz::require(ftruncate(file, 0) == 0, "the file could not be emptied");
  fuzz::require(pwrite(file, data, size, 0) == static_cast<ssize_t>(size), "the file is too large");
  const cmhost::FileBytes bytes(file, static_cast<std::int64_t>(size));
  const std::int64_t declared = cmhost::declaredSize(bytes);
  fuzz::require(declared >= -1, "a size below nothing");

  // The input is short enough that no part of it is dropped.
  cmhost::PassedBytes passed;
  passed.add(data, size / 3);
  passed.add(data + size / 3, size - size / 3);
  fuzz::require(cmhost::declaredSize(passed) == declared, "a pipe is judged differently");
  return 0;
}
