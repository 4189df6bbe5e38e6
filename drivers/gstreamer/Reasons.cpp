#include "drivers/gstreamer/Reasons.h"

#include "drivers/gstreamer/GstPointer.h"

#include <gst/pbutils/pbutils.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace ZELPlatform {
namespace {

constexpr const char* kFileScheme = "file://";

bool isURL(const std::string& text) { return gst_uri_is_valid(text.c_str()) && text.find("://") != std::string::npos; }

/// The path that a URL or a path names; empty when it is no file.
std::string pathOf(const std::string& urlOrPath) {
  if (!isURL(urlOrPath)) return urlOrPath;
  if (urlOrPath.rfind(kFileScheme, 0) != 0) return "";
  const GText path(g_filename_from_uri(urlOrPath.c_str(), nullptr, nullptr));
  return path ? path.get() : "";
}

std::string systemReason(int error) {
  if (error == ENOENT) return "it does not exist";
  if (error == EACCES) return "it must not be read";
  return std::strerror(error);
}

/// Sentences of GStreamer's own as clauses: without the full stop.
std::string asClause(const char* sentence) {
  std::string clause = sentence ? sentence : "";
  while (!clause.empty() && (clause.back() == '.' || clause.back() == '\n' || clause.back() == ' ')) clause.pop_back();
  return clause.empty() ? "no reason is given" : clause;
}

std::string reasonOfResource(const GError& error) {
  switch (error.code) {
    case GST_RESOURCE_ERROR_NOT_FOUND:
      return "it does not exist";
    case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
      return "reading it is not allowed";
    case GST_RESOURCE_ERROR_SEEK:
      return "the connection broke off, and the server sends nothing from the middle";
    case GST_RESOURCE_ERROR_BUSY:
      return "another program uses it";
    default:
      return "it cannot be read (" + asClause(error.message) + ")";
  }
}

std::string reasonOfStream(const GError& error) {
  switch (error.code) {
    case GST_STREAM_ERROR_TYPE_NOT_FOUND:
    case GST_STREAM_ERROR_WRONG_TYPE:
      return "it is not a video of a known kind";
    case GST_STREAM_ERROR_DEMUX:
    case GST_STREAM_ERROR_DECODE:
    case GST_STREAM_ERROR_FORMAT:
      return "it is damaged or incomplete (" + asClause(error.message) + ")";
    case GST_STREAM_ERROR_DECRYPT:
    case GST_STREAM_ERROR_DECRYPT_NOKEY:
      return "it is encrypted";
    default:
      return asClause(error.message);
  }
}

/// Sources that find nobody at the other end say no more than that they stopped.
bool isSilentSource(GstMessage* message, const GError& error) {
  return g_error_matches(&error, GST_STREAM_ERROR, GST_STREAM_ERROR_FAILED) &&
         GST_IS_ELEMENT(GST_MESSAGE_SRC(message)) &&
         GST_OBJECT_FLAG_IS_SET(GST_MESSAGE_SRC(message), GST_ELEMENT_FLAG_SOURCE) &&
         !GST_IS_BIN(GST_MESSAGE_SRC(message));
}

/// The Debian package that has what plays most of what is not in the base set.
const char* packageFor(const std::string& detail) {
  if (detail.find("urisource") != std::string::npos) return "gstreamer1.0-plugins-good or gstreamer1.0-plugins-bad";
  // To GStreamer's installers demultiplexers are decoders too.
  for (const char* container : {"video/mpegts", "application/x-hls", "application/dash+xml", "application/mxf"}) {
    if (detail.find(container) != std::string::npos) return "gstreamer1.0-plugins-bad";
  }
  return detail.find("decoder-") != std::string::npos ? "gstreamer1.0-libav" : "gstreamer1.0-plugins-bad";
}

}  // namespace

std::string asURL(const std::string& urlOrPath) {
  if (isURL(urlOrPath)) return urlOrPath;
  const GText url(gst_filename_to_uri(urlOrPath.c_str(), nullptr));
  return url ? url.get() : "";
}

bool isFile(const std::string& urlOrPath) { return !pathOf(urlOrPath).empty(); }

std::string problemOfFile(const std::string& url) {
  if (url.empty()) return "it has no name";
  const std::string path = pathOf(url);
  if (path.empty()) return "";
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return systemReason(errno);
  if (S_ISDIR(status.st_mode)) return "it is a directory";
  if (S_ISREG(status.st_mode) && status.st_size == 0) return "it is empty";
  return access(path.c_str(), R_OK) == 0 ? "" : systemReason(errno);
}

std::string reasonOf(GstMessage* message) {
  GError* raw = nullptr;
  gst_message_parse_error(message, &raw, nullptr);
  const std::unique_ptr<GError, decltype(&g_error_free)> error(raw, g_error_free);
  if (isSilentSource(message, *error)) return "it cannot be reached";
  if (error->domain == GST_RESOURCE_ERROR) return reasonOfResource(*error);
  if (error->domain == GST_STREAM_ERROR) return reasonOfStream(*error);
  return asClause(error->message);
}

bool missesPictureDecoder(GstMessage* message) {
  if (!gst_is_missing_plugin_message(message)) return false;
  const GText detail(gst_missing_plugin_message_get_installer_detail(message));
  return detail && std::strstr(detail.get(), "decoder-video/");
}

std::string missingPlugin(GstMessage* message) {
  if (!gst_is_missing_plugin_message(message)) return "";
  const GText description(gst_missing_plugin_message_get_description(message));
  const GText detail(gst_missing_plugin_message_get_installer_detail(message));
  return "the " + std::string(description ? description.get() : "decoder") +
         " is not installed (on Debian, the package " + packageFor(detail ? detail.get() : "") + " has it)";
}

}  // namespace ZELPlatform
