#include "tests/support/clipboard_partners.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zarn_test {

namespace {

struct free_block {
    void operator()(void* block) const { std::free(block); }
};
template <class Block>
using block_ptr = std::unique_ptr<Block, free_block>;

} // namespace

// ---- Programs ------------------------------------------------------------------------------------------------------

child_program::child_program(const std::vector<std::string>& command, int kept) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ___id = fork();
    if (___id != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_RDWR);
    for (int i = 0; i < 3; ++i) dup2(nowhere, i);
    if (kept >= 0 && dup2(kept, 3) == 3) fcntl(3, F_SETFD, 0); // kept open if it was 3 already
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void child_program::stop() {
    if (___id <= 0) return;
    kill(___id, SIGTERM);
    waitpid(___id, nullptr, 0);
    ___id = 0;
}

bool is_installed(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

// ---- The server ----------------------------------------------------------------------------------------------------

// The server picks a free number and tells it when it is ready. It does not start anew when its last client goes.
test_display::test_display() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    ___server.emplace(
        std::vector<std::string>{"Xvfb", "-displayfd", "3", "-noreset", "-nolisten", "tcp", "-screen", "0", "16x16x24"},
        ends[1]);
    close(ends[1]);
    constexpr int milliseconds = 60000;
    char letter = 0;
    pollfd descriptor{ends[0], POLLIN, 0};
    while (poll(&descriptor, 1, milliseconds) == 1 && read(ends[0], &letter, 1) == 1 && letter != '\n') {
        ___name += letter;
    }
    close(ends[0]);
    setenv("DISPLAY", (":" + ___name).c_str(), 1);
}

test_display::~test_display() { unsetenv("DISPLAY"); }

bool wait_until_clipboard_is_owned(bool wanted) {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const auto name = xcb_intern_atom(connection, 0, 9, "CLIPBOARD");
    const block_ptr<xcb_intern_atom_reply_t> clipboard(xcb_intern_atom_reply(connection, name, nullptr));
    bool owned = !wanted;
    for (int i = 0; clipboard && i < 2000 && owned != wanted; ++i) {
        const auto cookie = xcb_get_selection_owner(connection, clipboard->atom);
        const block_ptr<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(connection, cookie, nullptr));
        owned = reply && reply->owner != XCB_NONE;
        if (owned != wanted) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    xcb_disconnect(connection);
    return owned == wanted;
}

// ---- Owners --------------------------------------------------------------------------------------------------------

clipboard_owner::clipboard_owner(std::vector<clipboard_offer> offers, owner_manner manner, std::uint32_t piece)
    : ___offers(std::move(offers))
    , ___manner(manner)
    , ___piece(piece)
    , ___connection(xcb_connect(nullptr, nullptr))
    , ___window(xcb_generate_id(___connection)) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(___connection)).data;
    xcb_create_window(___connection, XCB_COPY_FROM_PARENT, ___window, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_set_selection_owner(___connection, ___window, atom("CLIPBOARD"), XCB_CURRENT_TIME);
    atom("TARGETS"); // and with the answer the selection is owned
    ___server = std::thread([this] { serve(); });
}

clipboard_owner::~clipboard_owner() {
    ___stop = true;
    ___server.join();
    xcb_disconnect(___connection);
}

xcb_atom_t clipboard_owner::atom(const std::string& name) {
    const auto cookie = xcb_intern_atom(___connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const block_ptr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(___connection, cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_NONE);
}

void clipboard_owner::serve() {
    bool more = true;
    while (more && !___stop && !xcb_connection_has_error(___connection)) {
        xcb_flush(___connection);
        const block_ptr<xcb_generic_event_t> event(xcb_poll_for_event(___connection));
        if (!event) {
            pollfd descriptor{xcb_get_file_descriptor(___connection), POLLIN, 0};
            poll(&descriptor, 1, 10);
            continue;
        }
        if ((event->response_type & 0x7f) == XCB_SELECTION_REQUEST) {
            more = answer(*reinterpret_cast<const xcb_selection_request_event_t*>(event.get()));
        } else if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && ___sent) {
            const auto& notice = *reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
            if (notice.state == XCB_PROPERTY_DELETE && notice.atom == ___request.property) more = send_piece(___piece);
        }
    }
    // What a program that ends leaves behind.
    xcb_destroy_window(___connection, ___window);
    atom("TARGETS"); // with the answer the window is gone
}

bool clipboard_owner::answer(const xcb_selection_request_event_t& request) {
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    const auto put = [&](xcb_atom_t type, std::uint8_t format, std::size_t count, const void* data) {
        xcb_change_property(___connection, XCB_PROP_MODE_REPLACE, request.requestor, request.property, type, format,
                            static_cast<std::uint32_t>(count), data);
        notice.property = request.property;
    };
    if (request.target == atom("TARGETS")) {
        if (___manner == owner_manner::unresponsive) return true;
        std::vector<xcb_atom_t> types = {request.target};
        for (const clipboard_offer& offer : ___offers) types.push_back(atom(offer.type));
        put(XCB_ATOM_ATOM, 32, types.size(), types.data());
    } else {
        if (___piece == 0 && ___manner == owner_manner::stalling) return true;
        if (___piece == 0 && ___manner == owner_manner::dying) return false;
        const auto offer = std::find_if(___offers.begin(), ___offers.end(),
                                        [&](const clipboard_offer& one) { return atom(one.type) == request.target; });
        if (offer == ___offers.end() || ___manner == owner_manner::refusing) {
        } else if (___piece == 0) {
            put(request.target, 8, offer->bytes.size(), offer->bytes.data());
        } else {
            const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
            xcb_change_window_attributes(___connection, request.requestor, XCB_CW_EVENT_MASK, &events);
            const auto size = static_cast<std::uint32_t>(offer->bytes.size());
            put(atom("INCR"), 32, 1, &size);
            ___request = request;
            ___sent = &offer->bytes;
            ___offset = 0;
        }
    }
    xcb_send_event(___connection, 0, request.requestor, 0, reinterpret_cast<const char*>(&notice));
    return true;
}

bool clipboard_owner::send_piece(std::uint32_t length) {
    if (++___pieces == 3 && ___manner == owner_manner::stalling) ___sent = nullptr;
    if (___pieces == 3 && ___manner == owner_manner::dying) return false;
    if (!___sent) return true;
    const auto left = static_cast<std::uint32_t>(___sent->size() - ___offset);
    const std::uint32_t count = ___manner == owner_manner::trickling ? 1 : std::min(length, left);
    const std::uint8_t* const bytes = ___sent->data() + ___offset;
    // In two steps of which nothing is seen in between: the reader is told twice of one piece.
    xcb_grab_server(___connection);
    for (const auto& [start, end] : {std::pair{0u, count / 2}, std::pair{count / 2, count}}) {
        xcb_change_property(___connection, XCB_PROP_MODE_APPEND, ___request.requestor, ___request.property,
                            ___request.target, 8, end - start, bytes + start);
    }
    xcb_ungrab_server(___connection);
    if (___manner != owner_manner::trickling) ___offset += count;
    return true;
}

} // namespace zarn_test
