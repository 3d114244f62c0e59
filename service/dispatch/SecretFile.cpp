#include "service/dispatch/SecretFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "common/LaunchRequest.h"
#include "platform/Handles.h"
#include "platform/System.h"

namespace service {

namespace {

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool WriteAll(int fd, std::string_view text) {
  return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
}

// Empty when it cannot be read.
std::string ReadText(const std::string& path) {
  const platform::UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  std::array<char, 64> text;
  const ssize_t length = file ? read(file.Get(), text.data(), text.size()) : 0;
  return {text.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

}  // namespace

SecretFile::SecretFile(std::string path) : path_(std::move(path)) { Make(); }

SecretFile::~SecretFile() {
  if (!secret_.empty() && ReadText(path_) == secret_) unlink(path_.c_str());
}

void SecretFile::Renew() {
  if (problem_.empty() && access(path_.c_str(), F_OK) != 0) Make();
}

bool SecretFile::Matches(std::string_view text) const {
  const std::string secret = ReadText(path_);
  if (!problem_.empty() || secret.empty() || text.size() != secret.size()) return false;
  volatile unsigned difference = 0;
  for (size_t i = 0; i < text.size(); ++i)
    difference = difference | static_cast<unsigned>(static_cast<unsigned char>(text[i] ^ secret[i]));
  return difference == 0;
}

void SecretFile::Make() {
  const platform::MallocPtr<char> text = CreateGUID();
  secret_ = text ? text.get() : "";
  if (!MakeFolder() || !Write()) secret_.clear();
}

// The last folder is its owner's alone; one that somebody else can write to could be given another file.
bool SecretFile::MakeFolder() {
  const std::string folder = FolderOf(path_);
  if (!platform::CreateFolders(FolderOf(folder))) return Fail("cannot make the folder " + FolderOf(folder));
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) return Fail("cannot make the folder " + folder);
  struct stat found {};
  if (lstat(folder.c_str(), &found) != 0) return Fail("cannot read the folder " + folder);
  if (S_ISDIR(found.st_mode) && found.st_uid == geteuid() && (found.st_mode & (S_IWGRP | S_IWOTH)) == 0)
    return true;
  errno = EPERM;
  return Fail("the folder " + folder + " belongs to others");
}

// Whoever reads it meets the old secret or the new one, whole.
bool SecretFile::Write() {
  const std::string unfinished = path_ + "." + std::to_string(getpid());
  unlink(unfinished.c_str());
  platform::UniqueFd file(
      open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (file && fchmod(file.Get(), S_IRUSR | S_IWUSR) == 0 && WriteAll(file.Get(), secret_) &&
      rename(unfinished.c_str(), path_.c_str()) == 0)
    return true;
  Fail("cannot write " + path_);
  unlink(unfinished.c_str());
  return false;
}

bool SecretFile::Fail(const std::string& what) {
  problem_ = what + ": " + std::strerror(errno);
  return false;
}

}  // namespace service
