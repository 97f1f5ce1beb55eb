// Fixed capacities and unit conversions shared by every subsystem.
#pragma once

namespace zenfit {

// Capacities. Every table in the engine is a fixed array of one of these sizes.
inline constexpr int kLineLength = 200;          // command, procedure and file lines (characters)
inline constexpr int kMessageLineSize = 512;     // shared formatting line (bytes, with terminator)
inline constexpr int kMessageBufferSize = 2000;  // host message buffer (overflow threshold, bytes)
inline constexpr int kCommandWordSize = 9;       // command word: 8 characters and terminator
inline constexpr int kMaxModelTerms = 50;        // entries in the pointing model
inline constexpr int kMaxTermNames = 100;        // entries in the term name table
inline constexpr int kTermNameSize = 9;          // term name: 8 characters and terminator
inline constexpr int kObservationSlots = 5000;   // observation list slots
inline constexpr int kMaxObservations = 4999;    // one slot is always kept for the end mark
inline constexpr int kProcedureLines = 2000;     // procedure store slots
inline constexpr int kProcedureLevels = 20;      // procedure nesting depth
inline constexpr int kCatalogueSlots = 2000;     // star catalogue slots (1999 lines and "END")
inline constexpr int kCatalogueLineLength = 100; // characters kept of a catalogue line
inline constexpr int kCaptionLength = 80;        // caption text
inline constexpr int kFileNameSize = 200;        // file names, with terminator

// Angles: radians inside the engine, arcseconds and degrees at its edges.
inline constexpr double kPi = 3.141592653589793238462643;
inline constexpr double kTwoPi = 6.283185307179586476925287;
inline constexpr double kHalfPi = 1.570796326794896619231322;
inline constexpr double kArcsecPerRadian = 206264.80624709636;
inline constexpr double kRadianPerArcsec = 4.84813681109536e-6;
inline constexpr double kDegreesPerRadian = 57.29577951308232;
inline constexpr double kRadianPerDegree = 0.017453292519943295;
inline constexpr double kRadianPerTimeSecond = 7.27220521664304e-5;  // one second of time
inline constexpr double kRadianPerHour = 0.26179938779914946;        // pi / 12

}  // namespace zenfit
