#include "support/mosquitto.h"

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "support/loopback.h"

namespace zep_test {

namespace {

using std::chrono::steady_clock;

constexpr auto START_BOUND = std::chrono::seconds(5);
constexpr auto POLL_INTERVAL = std::chrono::milliseconds(2);

bool accepts_connections(uint16_t port) {
    const int probe = connect_loopback(port);
    return probe >= 0 && close(probe) == 0;
}

// A child with its output in log. It dies with its parent.
pid_t spawn(std::vector<std::string> command, const std::string &log) {
    std::vector<char *> arguments;
    for (std::string &word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    return child;
}

}  // namespace

mosquitto::mosquitto(const std::string &more_configuration) {
    prepare();
    configure("allow_anonymous true\n" + more_configuration);
    start();
}

mosquitto::mosquitto(const std::string &user, const std::string &password) {
    prepare();
    const std::string file = directory_ + "/passwords";
    const pid_t child =
        spawn({"mosquitto_passwd", "-b", "-c", file, user, password}, directory_ + "/log");
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status) << "mosquitto_passwd";
    configure("allow_anonymous false\npassword_file " + file + "\n");
    start();
}

mosquitto::~mosquitto() {
    kill();
    close(reservation_);
    std::filesystem::remove_all(directory_);
}

void mosquitto::prepare() {
    // Debian keeps servers where an ordinary user's PATH does not look.
    const char *path = std::getenv("PATH");
    setenv("PATH", (std::string(path != nullptr ? path : "/usr/bin:/bin") + ":/usr/sbin").c_str(),
           1);

    std::string name = std::filesystem::temp_directory_path() / "zep_mosquitto_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(name.data()));
    directory_ = name;
    // Bound, and never listening: nobody else is given its port, and a server that also sets
    // SO_REUSEADDR can still bind it.
    reservation_ = bind_loopback(port_);
}

void mosquitto::configure(const std::string &more) {
    std::ofstream(directory_ + "/conf")
        << "listener " << port_ << " 127.0.0.1\n"
        << "user root\n"  // heeded only when the tests run as root: the files here are root's then
        << "set_tcp_nodelay true\n"
        << "persistence_location " << directory_ << "/\n"
        << more;
}

void mosquitto::start() {
    process_ = spawn({"mosquitto", "-c", directory_ + "/conf"}, directory_ + "/log");
    for (const auto bound = steady_clock::now() + START_BOUND; steady_clock::now() < bound;) {
        if (has_ended()) {
            break;
        }
        if (accepts_connections(port_)) {
            return;
        }
        std::this_thread::sleep_for(POLL_INTERVAL);
    }
    std::ifstream log(directory_ + "/log");
    ADD_FAILURE() << "mosquitto does not start (is it installed?)\n" << log.rdbuf();
}

void mosquitto::stop() {
    end(SIGTERM);
}
void mosquitto::kill() {
    end(SIGKILL);
}

void mosquitto::end(int signal) {
    if (process_ > 0) {
        ::kill(process_, signal);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
}

bool mosquitto::has_ended() {
    if (process_ > 0 && waitpid(process_, nullptr, WNOHANG) == process_) {
        process_ = -1;
    }
    return process_ < 0;
}

}  // namespace zep_test
