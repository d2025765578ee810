// SPDX-License-Identifier: Apache-2.0
/*
 * floor.cpp --
 *
 *    floor PATH RUNS: the physical floor of one file-mode edit of PATH on
 *    this machine. Prints the median microseconds of reading the file's
 *    bytes (page cache) and of writing them to a temporary file beside it
 *    with fsync, rename and a directory fsync, the way a save does.
 */

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

double NowUs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

bool ReadFile(const std::string &path, std::string *out) {
  int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return false;
  struct stat st;
  fstat(fd, &st);
  out->resize(static_cast<size_t>(st.st_size));
  size_t got = 0;
  while (got < out->size()) {
    ssize_t r = read(fd, out->data() + got, out->size() - got);
    if (r <= 0) break;
    got += static_cast<size_t>(r);
  }
  close(fd);
  return got == out->size();
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: floor PATH RUNS\n");
    return 2;
  }
  std::string path = argv[1];
  int runs = std::max(1, atoi(argv[2]));
  std::string dir = path.substr(0, path.rfind('/') + 1);
  if (dir.empty()) dir = "./";
  std::string bytes;
  std::vector<double> readUs, writeUs;
  for (int i = 0; i < runs; i++) {
    double a = NowUs();
    if (!ReadFile(path, &bytes)) {
      fprintf(stderr, "floor: cannot read %s\n", path.c_str());
      return 1;
    }
    readUs.push_back(NowUs() - a);
  }
  std::string tmp = path + ".floor.tmp", dst = path + ".floor";
  int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  for (int i = 0; i < runs; i++) {
    double a = NowUs();
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      fprintf(stderr, "floor: cannot write %s\n", tmp.c_str());
      return 1;
    }
    fsync(fd);
    close(fd);
    rename(tmp.c_str(), dst.c_str());
    fsync(dfd);
    writeUs.push_back(NowUs() - a);
  }
  close(dfd);
  unlink(dst.c_str());
  printf("bytes %zu read_us %.1f write_fsync_rename_us %.1f\n", bytes.size(), Median(readUs),
         Median(writeUs));
  return 0;
}
