#include "host/message_buffer.h"

#include <cctype>
#include <cstring>

namespace zenfit::host {

int severityCode(char letter) {
  switch (std::toupper(static_cast<unsigned char>(letter))) {
    case 'P': return 1;
    case 'I': return 2;
    case 'W': return 3;
    case 'E': return 4;
    case 'S': return 5;
    default: return 0;
  }
}

void MessageBuffer::append(const char* text) {
  // Longer texts are cut to the engine's formatting line; no caller writes one.
  const std::size_t length = strnlen(text, kMessageLineSize - 1);
  const std::size_t used = std::strlen(text_);
  if (length + used > static_cast<std::size_t>(kMessageBufferSize)) text_[0] = '\0';
  char* out = text_ + std::strlen(text_);
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] == '\n') *out++ = '\r';
    *out++ = text[i];
  }
  *out = '\0';
}

int bufferWriter(MessageBuffer& buffer, std::FILE*, std::FILE*, int, int, int, const char* text) {
  buffer.append(text);
  return 1;
}

void MessageBuffer::write(const Message& message) {
  const int code = severityCode(static_cast<char>(message.severity));
  const char* text = message.text.c_str();
  const int levelOne_ = settings_ != nullptr ? settings_->levelOne : 0;
  const int levelTwo_ = settings_ != nullptr ? settings_->levelTwo : 0;
  switch (message.channel) {
    case Channel::Main:
      writer_(*this, primary_, secondary_, code, levelOne_, levelTwo_, text);
      break;
    case Channel::Primary:
      bufferWriter(*this, primary_, nullptr, code, levelOne_, 0, text);
      break;
    case Channel::Secondary:
      bufferWriter(*this, nullptr, secondary_, code, 0, levelTwo_, text);
      break;
  }
}

int CancelHandler::operator()(int operation) {
  switch (operation) {
    case 0:
      return armed_ ? requested_ : 0;
    case 1:
      if (armed_) return 0;
      armed_ = 1;
      requested_ = 0;
      return 1;
    case 2:
      if (!armed_) return 0;
      requested_ = 0;
      return 1;
    case 3:
      if (!armed_) return 0;
      armed_ = 0;
      requested_ = 0;
      return 1;
    case 4:
      if (!armed_) return 0;
      requested_ = 1;
      return 1;
    default:
      return 0;
  }
}

}  // namespace zenfit::host
