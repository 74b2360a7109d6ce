// SPDX-License-Identifier: GPL-3.0-or-later
// A stand-in for wit and wwt that does what the real tools cannot be made
// to do on demand: print chosen output in chosen writes, stall, crash. It
// follows the script named by FAKETOOL_SCRIPT, one command per line:
//
//   out TEXT        write TEXT in one write(); \n \r \t \\ and \xHH escapes
//   repeat N TEXT   write TEXT N times, in writes of about 64 KiB
//   pause MS        sleep
//   hang            sleep until killed
//   pid FILE        write the tool's process ID to FILE
//   exit CODE       exit with CODE
//   crash           die by SIGKILL
//
// Each run appends its name and arguments to FAKETOOL_LOG, one line per run
// (arguments separated by " | "). "faketool --mark FILE WORD" only appends
// WORD to FILE, for commands that must run before the tool.
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <signal.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

void writeAll(const std::string &data)
{
    std::size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(STDOUT_FILENO, data.data() + done, data.size() - done);
        if (n <= 0)
            std::exit(99);
        done += std::size_t(n);
    }
}

std::string unescape(const std::string &text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char c = text[++i];
        switch (c) {
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case 'x':
            out += char(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
            break;
        default: out += c; break;
        }
    }
    return out;
}

void appendLine(const char *path, const std::string &line)
{
    if (!path || !*path)
        return;
    std::ofstream log(path, std::ios::app);
    log << line << '\n';
}

}

int main(int argc, char **argv)
{
    if (argc == 4 && std::string(argv[1]) == "--mark") {
        appendLine(argv[2], argv[3]);
        return 0;
    }

    std::string invocation = argv[0];
    invocation = invocation.substr(invocation.find_last_of('/') + 1);
    for (int i = 1; i < argc; ++i)
        invocation += std::string(" | ") + argv[i];
    appendLine(std::getenv("FAKETOOL_LOG"), invocation);

    const char *scriptPath = std::getenv("FAKETOOL_SCRIPT");
    std::ifstream script(scriptPath ? scriptPath : "");
    std::string line;
    while (std::getline(script, line)) {
        const std::size_t space = line.find(' ');
        const std::string command = line.substr(0, space);
        const std::string argument = space == std::string::npos ? std::string() : line.substr(space + 1);
        if (command == "out") {
            writeAll(unescape(argument));
        } else if (command == "repeat") {
            const std::size_t split = argument.find(' ');
            long count = std::stol(argument.substr(0, split));
            const std::string text = unescape(argument.substr(split + 1));
            std::string block;
            while (count > 0) {
                block += text;
                --count;
                if (block.size() >= 65536 || count == 0) {
                    writeAll(block);
                    block.clear();
                }
            }
        } else if (command == "pause") {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::stol(argument)));
        } else if (command == "pid") {
            std::ofstream(argument) << ::getpid() << '\n';
        } else if (command == "hang") {
            for (;;)
                ::pause();
        } else if (command == "exit") {
            return std::atoi(argument.c_str());
        } else if (command == "crash") {
            ::kill(::getpid(), SIGKILL);
        }
    }
    return 0;
}
