// Devices whose pages become files: SVG, PNG, PDF, PostScript and EPS, the
// format chosen by the file name's extension. They never write a file
// themselves: they hand back names and bytes, so that the caller writes
// each safely (a temporary file renamed when complete) and reports errors.
//
// SVG, PNG and EPS: one file per page, numbered from the given name
// ("resid.svg" gives "resid-001.svg", "resid-002.svg", ...); a page that
// more plots are drawn over is handed back again, whole. PDF and PostScript:
// one file holding every page, handed back by close().
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plot/memory_device.h"

// cairo's surface, declared here so that users of this header need not see
// cairo (the library links it privately).
typedef struct _cairo_surface cairo_surface_t;

namespace zenfit::plot {

enum class FileFormat { Svg, Png, Pdf, PostScript, Eps };

// The format a file name's extension names (in either case), if any.
std::optional<FileFormat> formatFromName(const std::string& name);
// "resid.svg", 2 -> "resid-002.svg"; a name without an extension gets the
// number at its end.
std::string numberedName(const std::string& name, int page);

struct PlotFile {
  std::string name;
  std::string bytes;
};

// Where a plot went: the file and its page in that file (1-based).
struct PlotPlace {
  std::string file;
  int page = 0;
};

class FileDevice : public MemoryDevice {
 public:
  // PNG pages are drawn at this many pixels per page unit: 1080 by 810
  // pixels for the default page.
  static constexpr double kPngScale = 1.5;

  // A device for `name`, or null with the reason in *error when its
  // extension names no format.
  static std::unique_ptr<FileDevice> create(const std::string& name, std::string* error = nullptr);

  FileDevice(std::string name, FileFormat format, double width = 720.0, double height = 540.0);
  ~FileDevice() override;

  FileFormat format() const { return format_; }
  const std::string& name() const { return name_; }
  // Where the last plot went (an empty file name before the first).
  PlotPlace lastPlot() const { return lastPlot_; }
  // SVG, PNG and EPS: every page drawn on since the last call, as it stands
  // now. PDF and PostScript: nothing until close().
  std::vector<PlotFile> takeFiles();
  // Finishes the last page: its file, or the whole PDF or PostScript
  // document (none if nothing was drawn). The device starts afresh after it.
  std::vector<PlotFile> close();
  // Why a page could not be rendered since the last call ("" when all went
  // well); the page is then missing from what takeFiles() and close() hand
  // back.
  std::string takeError();
  // SVG, PNG and EPS: a file per page; PDF and PostScript: one document.
  bool perPageFiles() const { return format_ != FileFormat::Pdf && format_ != FileFormat::PostScript; }
  // The pages the document holds so far (PDF and PostScript).
  int documentPages() const { return documentPages_ + (perPageFiles() || !dirty_ ? 0 : 1); }

 protected:
  void pageFinished(Page& page, int number) override;
  void plotFinished() override;

 private:
  void render(const Page& page, int number);

  std::string name_;
  FileFormat format_;
  PlotPlace lastPlot_;
  bool dirty_ = false;  // the current page changed since it was last handed back
  std::vector<PlotFile> ready_;
  std::string error_;
  // PDF and PostScript: the document, its pages added as they finish.
  std::string document_;
  cairo_surface_t* surface_ = nullptr;
  int documentPages_ = 0;
};

}  // namespace zenfit::plot
