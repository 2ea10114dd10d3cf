// A mosquitto of the test's own on 127.0.0.1, with its files in a temporary directory. What is
// started here is ended here, also when the test process dies.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace zep_test {

class mosquitto {
 public:
    // Starts it, open to everyone, with further lines for its configuration. A broker that does not
    // come up within five seconds fails the test.
    explicit mosquitto(const std::string &more_configuration = "");
    // Open to one user only.
    mosquitto(const std::string &user, const std::string &password);
    ~mosquitto();
    mosquitto(const mosquitto &) = delete;
    mosquitto &operator=(const mosquitto &) = delete;

    uint16_t port() const { return port_; }

    // Again, on the same port.
    void start();
    // With SIGTERM, so that it can take its leave of its clients; with SIGKILL, so that it cannot.
    void stop();
    void kill();

 private:
    void prepare();
    void configure(const std::string &more);
    void end(int signal);
    bool has_ended();

    std::string directory_;
    int reservation_ = -1;  // keeps the port ours while no broker runs
    uint16_t port_ = 0;
    pid_t process_ = -1;
};

}  // namespace zep_test
