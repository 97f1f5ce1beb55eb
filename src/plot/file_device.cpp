#include "plot/file_device.h"

#include <cairo-pdf.h>
#include <cairo-ps.h>

#include <algorithm>
#include <cctype>
#include <utility>
#include <cstdio>

#include "plot/cairo_render.h"

namespace zenfit::plot {

namespace {

// The position of the extension's dot, or npos when the last path element
// has none.
std::size_t extensionDot(const std::string& name) {
  const std::size_t dot = name.find_last_of('.');
  const std::size_t slash = name.find_last_of("/\\");
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash) ||
      dot == (slash == std::string::npos ? 0 : slash + 1)) {
    return std::string::npos;
  }
  return dot;
}

std::string checkedStatus(cairo_status_t status) {
  return status == CAIRO_STATUS_SUCCESS ? std::string() : cairo_status_to_string(status);
}

}  // namespace

std::optional<FileFormat> formatFromName(const std::string& name) {
  const std::size_t dot = extensionDot(name);
  if (dot == std::string::npos) return std::nullopt;
  std::string extension = name.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == "svg") return FileFormat::Svg;
  if (extension == "png") return FileFormat::Png;
  if (extension == "pdf") return FileFormat::Pdf;
  if (extension == "ps") return FileFormat::PostScript;
  if (extension == "eps") return FileFormat::Eps;
  return std::nullopt;
}

std::string numberedName(const std::string& name, int page) {
  char number[16];
  std::snprintf(number, sizeof number, "-%03d", page);
  const std::size_t dot = extensionDot(name);
  if (dot == std::string::npos) return name + number;
  return name.substr(0, dot) + number + name.substr(dot);
}

std::unique_ptr<FileDevice> FileDevice::create(const std::string& name, std::string* error) {
  const std::optional<FileFormat> format = formatFromName(name);
  if (!format) {
    if (error != nullptr) {
      *error = "cannot tell the plot format of \"" + name +
               "\": the name must end in .svg, .png, .pdf, .ps or .eps";
    }
    return nullptr;
  }
  return std::make_unique<FileDevice>(name, *format);
}

FileDevice::FileDevice(std::string name, FileFormat format, double width, double height)
    : MemoryDevice(width, height), name_(std::move(name)), format_(format) {}

FileDevice::~FileDevice() {
  if (surface_ != nullptr) cairo_surface_destroy(surface_);
}

void FileDevice::plotFinished() {
  dirty_ = true;
  lastPlot_.file = perPageFiles() ? numberedName(name_, pageNumber()) : name_;
  lastPlot_.page = perPageFiles() ? 1 : documentPages_ + 1;
}

void FileDevice::pageFinished(Page& page, int number) {
  if (perPageFiles()) {
    if (dirty_) render(page, number);
  } else {
    render(page, number);
  }
  dirty_ = false;
}

void FileDevice::render(const Page& page, int number) {
  std::string failure;
  switch (format_) {
    case FileFormat::Svg: {
      std::string bytes;
      if (detail::svgOfPage(page, bytes, failure)) {
        ready_.push_back({numberedName(name_, number), std::move(bytes)});
        return;
      }
      break;
    }
    case FileFormat::Png: {
      std::string bytes;
      if (detail::pngOfPage(page, kPngScale, bytes, failure)) {
        ready_.push_back({numberedName(name_, number), std::move(bytes)});
        return;
      }
      break;
    }
    case FileFormat::Eps: {
      std::string bytes;
      cairo_surface_t* surface = cairo_ps_surface_create_for_stream(
          detail::appendToString, &bytes, page.width, page.height);
      cairo_ps_surface_set_eps(surface, 1);
      cairo_t* cr = cairo_create(surface);
      detail::drawPage(cr, page, detail::Target::Vector);
      failure = checkedStatus(cairo_status(cr));
      cairo_destroy(cr);
      cairo_surface_finish(surface);
      if (failure.empty()) failure = checkedStatus(cairo_surface_status(surface));
      cairo_surface_destroy(surface);
      if (failure.empty()) {
        ready_.push_back({numberedName(name_, number), std::move(bytes)});
        return;
      }
      break;
    }
    case FileFormat::Pdf:
    case FileFormat::PostScript: {
      if (surface_ == nullptr) {
        document_.clear();
        surface_ = format_ == FileFormat::Pdf
                       ? cairo_pdf_surface_create_for_stream(detail::appendToString, &document_,
                                                             page.width, page.height)
                       : cairo_ps_surface_create_for_stream(detail::appendToString, &document_,
                                                            page.width, page.height);
      }
      cairo_t* cr = cairo_create(surface_);
      detail::drawPage(cr, page, detail::Target::Vector);
      cairo_show_page(cr);
      failure = checkedStatus(cairo_status(cr));
      cairo_destroy(cr);
      if (failure.empty()) {
        ++documentPages_;
        return;
      }
      break;
    }
  }
  error_ = "page " + std::to_string(number) + " of " + name_ + ": " + failure;
}

std::string FileDevice::takeError() { return std::exchange(error_, {}); }

std::vector<PlotFile> FileDevice::takeFiles() {
  if (perPageFiles() && dirty_) {
    render(currentPage(), pageNumber());
    dirty_ = false;
  }
  return std::exchange(ready_, {});
}

std::vector<PlotFile> FileDevice::close() {
  finishPage();
  std::vector<PlotFile> files = std::exchange(ready_, {});
  if (surface_ != nullptr) {
    cairo_surface_finish(surface_);
    const std::string failure = checkedStatus(cairo_surface_status(surface_));
    cairo_surface_destroy(surface_);
    surface_ = nullptr;
    if (failure.empty() && documentPages_ > 0) {
      files.push_back({name_, std::move(document_)});
    } else if (!failure.empty()) {
      error_ = name_ + ": " + failure;
    }
  }
  document_.clear();
  documentPages_ = 0;
  restart();
  return files;
}

}  // namespace zenfit::plot
