// The other sides of a clipboard: an X server without a screen, and owners of its selection, good and bad.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>
#include <xcb/xcb.h>

#include "tests/support/temporary_folder.h"

namespace zarn_test {

// A program that runs until the object goes, silently; it ends with the test program too.
class child_program {
public:
    // `kept` is a descriptor that the program gets as its number 3.
    explicit child_program(const std::vector<std::string>& command, int kept = -1);
    ~child_program() { stop(); }
    child_program(const child_program&) = delete;
    child_program& operator=(const child_program&) = delete;

    void stop();

private:
    pid_t ___id;
};

bool is_installed(const std::string& program);

// An X server; while it lives, DISPLAY names it.
class test_display {
public:
    test_display();
    ~test_display();

    bool is_ready() const { return !___name.empty(); }
    void stop() { ___server->stop(); }

private:
    std::optional<child_program> ___server;
    std::string ___name;
};

// Whether within some seconds somebody owns the clipboard, or nobody.
bool wait_until_clipboard_is_owned(bool wanted);

struct clipboard_offer {
    std::string type;
    byte_vector bytes;
};

// How an owner behaves once it has told what it offers.
enum class owner_manner : std::uint8_t {
    helpful,
    unresponsive, // never tells what it offers
    refusing,     // refuses what it offered
    stalling,     // answers no request for data, or, in pieces, stops after two
    dying,        // ends then instead
    trickling,    // sends single bytes for ever
};

// Owns the clipboard while it lives. Sends data in pieces of `piece` bytes, or at once where that is 0.
class clipboard_owner {
public:
    explicit clipboard_owner(std::vector<clipboard_offer> offers, owner_manner manner = owner_manner::helpful,
                             std::uint32_t piece = 0);
    ~clipboard_owner();
    clipboard_owner(const clipboard_owner&) = delete;
    clipboard_owner& operator=(const clipboard_owner&) = delete;

private:
    void serve();
    bool answer(const xcb_selection_request_event_t& request); // false to end
    bool send_piece(std::uint32_t length);
    xcb_atom_t atom(const std::string& name);

    std::vector<clipboard_offer> ___offers;
    owner_manner ___manner;
    std::uint32_t ___piece;
    xcb_connection_t* ___connection;
    xcb_window_t ___window;
    // Of the transfer in pieces that is under way.
    xcb_selection_request_event_t ___request{};
    const byte_vector* ___sent = nullptr;
    std::size_t ___offset = 0;
    unsigned ___pieces = 0;

    std::atomic<bool> ___stop{false};
    std::thread ___server;
};

} // namespace zarn_test
