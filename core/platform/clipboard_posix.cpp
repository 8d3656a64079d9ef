#include "core/platform/clipboard.h"

#ifdef ZARN_WITH_CLIPBOARD

    #include <algorithm>
    #include <cerrno>
    #include <csignal>
    #include <cstdlib>
    #include <cstring>
    #include <ctime>
    #include <memory>
    #include <utility>

    #include <poll.h>
    #include <xcb/xcb.h>
    #include <xcb/xcbext.h>

    #include "core/image_guard.h"
    #include "core/image_guard_checks.h"

namespace zarn {

namespace {

struct free_block {
    void operator()(void* block) const noexcept { std::free(block); }
};
template <class Block>
using block_ptr = std::unique_ptr<Block, free_block>;

// A write to a display server that is gone raises SIGPIPE, which would end the host: none reaches it while this lives.
class pipe_signal_guard {
public:
    pipe_signal_guard() noexcept {
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        ___was_pending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&___pipe);
        sigaddset(&___pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &___pipe, &___before);
    }
    ~pipe_signal_guard() {
        constexpr timespec no_time{};
        if (!___was_pending) {
            while (sigtimedwait(&___pipe, nullptr, &no_time) < 0 && errno == EINTR) {}
        }
        pthread_sigmask(SIG_SETMASK, &___before, nullptr);
    }
    pipe_signal_guard(const pipe_signal_guard&) = delete;
    pipe_signal_guard& operator=(const pipe_signal_guard&) = delete;

private:
    sigset_t ___pipe;
    sigset_t ___before;
    bool ___was_pending;
};

// Bytes whose number is not known before.
class byte_collection {
public:
    // False when memory is short or there are too many bytes.
    bool append(const void* bytes, std::uint32_t count) noexcept {
        constexpr std::uint64_t smallest = 64u << 10;
        constexpr std::uint64_t most = 1u << 30;
        const std::uint64_t size = std::uint64_t{___size} + count;
        if (size > most) return false;
        if (size > ___capacity) {
            const std::uint64_t capacity = std::max({size, 2 * ___capacity, smallest});
            owned_array<std::uint8_t> grown = allocate_array<std::uint8_t>(capacity);
            if (!grown) return false;
            if (___size) std::memcpy(grown.get(), ___bytes.get(), ___size);
            ___bytes = std::move(grown);
            ___capacity = capacity;
        }
        if (count) std::memcpy(___bytes.get() + ___size, bytes, count);
        ___size = static_cast<std::uint32_t>(size);
        return true;
    }

    const std::uint8_t* data() const noexcept { return ___bytes.get(); }
    std::uint32_t size() const noexcept { return ___size; }

    void move_into(clipboard_picture& picture) noexcept {
        picture.bytes_are = clipboard_picture::form::file;
        picture.bytes = std::move(___bytes);
        picture.size = ___size;
    }

private:
    owned_array<std::uint8_t> ___bytes;
    std::uint32_t ___size = 0;
    std::uint64_t ___capacity = 0;
};

enum class atom : std::uint8_t { clipboard, targets, bmp, png, incr, transfer, count };
constexpr auto atom_count = static_cast<unsigned>(atom::count);
constexpr const char* atom_names[atom_count] = {"CLIPBOARD", "TARGETS", "image/bmp",
                                                "image/png", "INCR",    "ZARN_CLIPBOARD"};

// A connection to the display server of its own, with a window that the owner of the clipboard writes to. Every wait
// ends with the patience that was given, and the connection with the object.
class selection_reader {
public:
    explicit selection_reader(std::chrono::milliseconds patience) noexcept
        : ___deadline(clock::now() + patience)
        , ___connection(xcb_connect(nullptr, &___screen)) {}
    ~selection_reader() { xcb_disconnect(___connection); }
    selection_reader(const selection_reader&) = delete;
    selection_reader& operator=(const selection_reader&) = delete;

    bool open() noexcept;

    enum class offer : std::uint8_t { none, bmp, png, both };
    offer find_offer() noexcept;

    clipboard_result read(atom target, byte_collection& bytes) noexcept;

private:
    using clock = std::chrono::steady_clock;
    enum class transfer : std::uint8_t { whole, in_pieces, missing, lost, no_memory };

    xcb_atom_t id(atom name) const noexcept { return ___atoms[static_cast<unsigned>(name)]; }

    // Until the server sends something; false when the connection or the patience is at its end.
    bool wait() noexcept;
    // Null when there is none.
    block_ptr<xcb_generic_event_t> next_event() noexcept;
    template <class Reply>
    block_ptr<Reply> reply_to(unsigned int sequence) noexcept;
    // Until an event of interest: `is_wanted` gets each, in order. False when none comes.
    template <class Wanted>
    bool wait_for(Wanted is_wanted) noexcept;

    // Asks the owner for `target`; false when it refuses or does not answer.
    bool request(atom target) noexcept;
    // Appends what the owner wrote and deletes it, which tells the owner to go on.
    transfer collect(byte_collection& bytes) noexcept;

    clock::time_point ___deadline;
    int ___screen = 0;
    xcb_connection_t* ___connection; // never null
    xcb_window_t ___window = XCB_NONE;
    xcb_window_t ___owner = XCB_NONE;
    xcb_atom_t ___atoms[atom_count] = {};
};

bool selection_reader::wait() noexcept {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(___deadline - clock::now()).count();
        if (left <= 0 || xcb_connection_has_error(___connection)) return false;
        pollfd descriptor{xcb_get_file_descriptor(___connection), POLLIN, 0};
        const int ready = poll(&descriptor, 1, static_cast<int>(left));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

block_ptr<xcb_generic_event_t> selection_reader::next_event() noexcept {
    xcb_flush(___connection);
    do {
        block_ptr<xcb_generic_event_t> event(xcb_poll_for_event(___connection));
        // An owner that keeps sending does not outlast the patience.
        if (event) return clock::now() < ___deadline ? std::move(event) : nullptr;
    } while (wait());
    return nullptr;
}

template <class Reply>
block_ptr<Reply> selection_reader::reply_to(unsigned int sequence) noexcept {
    xcb_flush(___connection);
    do {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(___connection, sequence, &reply, &error)) {
            std::free(error);
            return block_ptr<Reply>(static_cast<Reply*>(reply));
        }
    } while (wait());
    xcb_discard_reply(___connection, sequence);
    return nullptr;
}

template <class Wanted>
bool selection_reader::wait_for(Wanted is_wanted) noexcept {
    while (const block_ptr<xcb_generic_event_t> event = next_event()) {
        const std::uint8_t type = event->response_type & 0x7f; // the top bit tells events of clients
        if (is_wanted(type, event.get())) return true;
        if (type != XCB_DESTROY_NOTIFY) continue;
        if (reinterpret_cast<const xcb_destroy_notify_event_t*>(event.get())->window == ___owner) return false;
    }
    return false;
}

bool selection_reader::open() noexcept {
    if (xcb_connection_has_error(___connection)) return false;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(___connection));
    for (int i = 0; i < ___screen && screens.rem > 1; ++i) xcb_screen_next(&screens);
    if (screens.rem < 1) return false;

    xcb_intern_atom_cookie_t cookies[atom_count];
    for (unsigned i = 0; i < atom_count; ++i) {
        const auto length = static_cast<std::uint16_t>(std::strlen(atom_names[i]));
        cookies[i] = xcb_intern_atom(___connection, 0, length, atom_names[i]);
    }
    ___window = xcb_generate_id(___connection);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(___connection, XCB_COPY_FROM_PARENT, ___window, screens.data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    bool named = true;
    for (unsigned i = 0; i < atom_count; ++i) {
        const auto reply = reply_to<xcb_intern_atom_reply_t>(cookies[i].sequence);
        named = named && reply;
        if (reply) ___atoms[i] = reply->atom;
    }
    return named;
}

bool selection_reader::request(atom target) noexcept {
    xcb_convert_selection(___connection, ___window, id(atom::clipboard), id(target), id(atom::transfer),
                          XCB_CURRENT_TIME);
    bool delivered = false;
    const bool answered = wait_for([&](std::uint8_t type, const void* event) noexcept {
        if (type != XCB_SELECTION_NOTIFY) return false;
        const auto* notice = static_cast<const xcb_selection_notify_event_t*>(event);
        if (notice->selection != id(atom::clipboard) || notice->target != id(target)) return false;
        delivered = notice->property == id(atom::transfer);
        return true;
    });
    return answered && delivered;
}

selection_reader::offer selection_reader::find_offer() noexcept {
    const auto cookie = xcb_get_selection_owner(___connection, id(atom::clipboard));
    const auto owner = reply_to<xcb_get_selection_owner_reply_t>(cookie.sequence);
    if (!owner || owner->owner == XCB_NONE) return offer::none;
    // So that the end of the owner ends the wait for it.
    ___owner = owner->owner;
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(___connection, ___owner, XCB_CW_EVENT_MASK, &events);

    if (!request(atom::targets)) return offer::none;
    constexpr std::uint32_t most_types = 1000;
    const auto list =
        xcb_get_property(___connection, 1, ___window, id(atom::transfer), XCB_GET_PROPERTY_TYPE_ANY, 0, most_types);
    const auto types = reply_to<xcb_get_property_reply_t>(list.sequence);
    if (!types || types->format != 32) return offer::none;
    const auto* const first = static_cast<const xcb_atom_t*>(xcb_get_property_value(types.get()));
    const xcb_atom_t* const last = first + types->value_len;
    const bool bmp = std::find(first, last, id(atom::bmp)) != last;
    const bool png = std::find(first, last, id(atom::png)) != last;
    if (bmp && png) return offer::both;
    if (bmp) return offer::bmp;
    return png ? offer::png : offer::none;
}

selection_reader::transfer selection_reader::collect(byte_collection& bytes) noexcept {
    constexpr std::uint32_t words_at_once = 1u << 18;
    for (std::uint32_t offset = 0;; offset += words_at_once) {
        // Deleted with its last part.
        const auto cookie = xcb_get_property(___connection, 1, ___window, id(atom::transfer), XCB_GET_PROPERTY_TYPE_ANY,
                                             offset, words_at_once);
        const auto property = reply_to<xcb_get_property_reply_t>(cookie.sequence);
        if (!property) return transfer::lost;
        if (property->type == XCB_NONE) return offset ? transfer::lost : transfer::missing;
        if (property->type == id(atom::incr)) return transfer::in_pieces;
        const auto count = static_cast<std::uint32_t>(xcb_get_property_value_length(property.get()));
        if (!bytes.append(xcb_get_property_value(property.get()), count)) return transfer::no_memory;
        if (property->bytes_after == 0) return transfer::whole;
    }
}

clipboard_result selection_reader::read(atom target, byte_collection& bytes) noexcept {
    if (!request(target)) return clipboard_result::no_bits;
    transfer result = collect(bytes);
    if (result == transfer::in_pieces) {
        // Each piece is written when the one before is deleted; one without bytes ends them.
        std::uint32_t before = 0;
        const bool ended = wait_for([&](std::uint8_t type, const void* event) noexcept {
            if (type != XCB_PROPERTY_NOTIFY) return false;
            const auto* notice = static_cast<const xcb_property_notify_event_t*>(event);
            if (notice->atom != id(atom::transfer) || notice->state != XCB_PROPERTY_NEW_VALUE) return false;
            before = bytes.size();
            result = collect(bytes);
            // Written twice before it was read once: the second notice finds nothing.
            if (result == transfer::missing) return false;
            return result != transfer::whole || bytes.size() == before;
        });
        if (!ended) result = transfer::lost;
    }
    if (result == transfer::no_memory) return clipboard_result::no_memory;
    return result == transfer::whole && bytes.size() > 0 ? clipboard_result::taken : clipboard_result::no_bits;
}

// Headers with colour spaces the decoder does not know.
bool is_plain_bmp(const byte_collection& file) noexcept {
    byte_source bytes(file.data(), file.size());
    return is_bmp_header(bytes) || is_os2_bmp_header(bytes);
}

} // namespace

clipboard_result take_clipboard_picture(zarn_window_handle, std::chrono::milliseconds patience,
                                        clipboard_picture& picture) noexcept {
    using offer = selection_reader::offer;
    const pipe_signal_guard no_signal;
    selection_reader reader(patience);
    if (!reader.open()) return clipboard_result::not_opened;
    const offer offered = reader.find_offer();
    if (offered == offer::none) return clipboard_result::without_picture;
    byte_collection file;
    clipboard_result result = reader.read(offered == offer::png ? atom::png : atom::bmp, file);
    if (offered == offer::both && (result == clipboard_result::no_bits || !is_plain_bmp(file))) {
        byte_collection png;
        if (reader.read(atom::png, png) == clipboard_result::taken) {
            file = std::move(png);
            result = clipboard_result::taken;
        }
    }
    if (result == clipboard_result::taken) file.move_into(picture);
    return result;
}

} // namespace zarn

#else

namespace zarn {

clipboard_result take_clipboard_picture(zarn_window_handle, std::chrono::milliseconds, clipboard_picture&) noexcept {
    return clipboard_result::not_opened;
}

} // namespace zarn

#endif
