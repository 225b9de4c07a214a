#pragma once

// main() of a tool that hosts the plugin: Tool(out, outFd, err).run(app), where out writes to
// our own copy of standard output, taken before the plugin's lines are sent elsewhere.

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <unistd.h>

namespace tools {

template <typename Tool> int hostToolMain(int argc, char **argv, const char *name)
{
    const int outFd = dup(STDOUT_FILENO);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QString::fromLatin1(name));
    QFile outFile;
    outFile.open(outFd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle);
    QTextStream out(&outFile);
    out.setCodec("UTF-8");
    QTextStream err(stderr);
    err.setCodec("UTF-8");
    int code = 0;
    {
        Tool tool(out, outFd, err);
        code = tool.run(app);
    }
    out.flush();
    err.flush();
    return code;
}

} // namespace tools
