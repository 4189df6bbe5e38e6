#include <ZELPlatform/NSURL.h>

#include <utility>

std::shared_ptr<const NSURL> NSURL::fileURLWithPath(std::string path) {
  return std::shared_ptr<const NSURL>(new NSURL(std::move(path)));
}
