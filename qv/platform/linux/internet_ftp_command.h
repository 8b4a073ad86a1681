// Commands whose answer is data, spoken on a connection of their own: libcurl logs in, and takes all that
// comes behind a command of the caller's for text.
#pragma once

#include <curl/curl.h>

#include <string>

#include "qv/platform/linux/internet.h"

namespace qv::platform {

class FtpCommandData : public InternetObject {
 public:
  FtpCommandData();
  ~FtpCommandData() override;

  // Logs in, sends the command, and waits until its data begins. False and the last error.
  bool begin(const Host& host, const std::string& command, bool text);

  bool available(DWORD* bytes) override;
  bool read(void* buffer, DWORD bytes, DWORD* done) override;
  bool close() override;

 private:
  int control() const;  // the socket
  bool logIn(const Host& host);
  bool openData();
  bool connectData(uint16_t port);
  bool say(const std::string& line, int& code);
  bool readReply(int& code);
  bool readLine(std::string& line);
  bool expect(const std::string& line, int lowest, int highest);

  CURL* const easy_;
  std::string received_;  // of the control connection, not taken apart yet
  std::string reply_;     // the last line of the last one
  int data_ = -1;         // its socket
};

}  // namespace qv::platform
