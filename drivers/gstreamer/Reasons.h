#pragma once

#include <gst/gst.h>

#include <string>

namespace ZELPlatform {

/// Why a film cannot be played, as clauses without a capital and a full stop.

/// What is wrong with the file that a URL or a path names; empty when nothing is, or when it is no file.
std::string problemOfFile(const std::string& url);

/// Whether a URL or a path names a file of this machine.
bool isFile(const std::string& urlOrPath);

/// What GStreamer complains about.
std::string reasonOf(GstMessage* error);

/// What is not installed, and which package has it, if the message says that something is missing; else empty.
std::string missingPlugin(GstMessage* message);

/// Whether the message says that what decodes pictures is missing.
bool missesPictureDecoder(GstMessage* message);

/// The URL of a path; a URL as it is. Empty when the path cannot be made one.
std::string asURL(const std::string& urlOrPath);

}  // namespace ZELPlatform
