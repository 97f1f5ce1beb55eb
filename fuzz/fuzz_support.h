// Shared set-up of the fuzz targets: a fresh engine in an empty scratch
// folder for every input, so that every run is reproducible from its input.
// The targets make the scratch folder the working directory: give the
// fuzzer absolute corpus and artifact paths.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "command/engine.h"

namespace zenfit::fuzz {

// The input as text. Inputs that name paths ('/' or '\\') are refused, so
// that file commands can only touch the scratch folder.
bool inputText(const std::uint8_t* data, std::size_t size, std::string& text, bool allowPaths);

// Writes a file into the scratch folder (the working directory).
void writeFile(const char* name, const std::string& content);

// Starts a fresh engine in the scratch folder (host mode, output discarded
// by the buffer's own overflow rule).
Engine& startEngine();

// Runs a batch session over the file "session.cmd" in the scratch folder.
void runBatch();

// Runs each line of text through the dispatcher as a host would send it
// (blank lines, which a host never sends, are left out).
void runLines(Engine& engine, const std::string& text);

// Ends the run: closes the engine's streams, empties the scratch folder,
// and stops with a report when the input left a file open.
void cleanScratch();

}  // namespace zenfit::fuzz
