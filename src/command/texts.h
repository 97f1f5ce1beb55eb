// Texts that more than one command says. Each is written here once.
#pragma once

namespace zenfit::texts {

inline constexpr const char* kIllegalArgument = "Illegal argument!\n";
inline constexpr const char* kBadArgument = "Bad argument!\n";
inline constexpr const char* kParameterError = "Parameter error!\n";
inline constexpr const char* kNoGraphicsDevice = "No graphics device!\n";
inline constexpr const char* kInputNameMissing = "Input filename must be specified!\n";
inline constexpr const char* kOutputNameMissing = "Output filename must be specified!\n";
inline constexpr const char* kInputCannotBeOpened =
    "Input file cannot be opened!  File = %s, status = %d\n";
inline constexpr const char* kOutputCannotBeOpened =
    "Output file cannot be opened!  File = %s, status = %d\n";
inline constexpr const char* kInvalidTermName = "Invalid coefficient name: %s !\n";

}  // namespace zenfit::texts
