#include "quitsignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tools {

namespace {
int sQuitPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const ssize_t n = ::write(sQuitPipe[1], &c, 1);
}
} // namespace

void onQuitSignals(QObject *context, std::function<void()> quit)
{
    if (sQuitPipe[0] < 0 && ::pipe2(sQuitPipe, O_CLOEXEC) != 0)
        return;
    auto *notifier = new QSocketNotifier(sQuitPipe[0], QSocketNotifier::Read, context);
    QObject::connect(notifier, &QSocketNotifier::activated, context, [quit] {
        char c;
        [[maybe_unused]] const ssize_t n = ::read(sQuitPipe[0], &c, 1);
        quit();
    });
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace tools
