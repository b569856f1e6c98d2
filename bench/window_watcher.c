/* Tells when a window's content is on the screen of the X server, seen from outside: two columns of the screen, from the
   top of the window to its bottom, are read over and over until they no longer change.

   "watch TOP HEIGHT X X" on standard input, with the left edges of both columns, is answered by "ready" once the screen before is known, and then by three numbers: when the
   columns first changed and when they became what they stayed (CLOCK_MONOTONIC, nanoseconds), and how many different
   pictures there were. "close CLASS" asks the visible windows of that class to close and answers "gone" when none is left.
   All answers are one line. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <xcb/xcb.h>

enum { kWidth = 24, kSettled = 300 };

static int top, height, columns[2];

static xcb_connection_t* server;
static xcb_window_t root;

static int64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * INT64_C(1000000000) + time.tv_nsec;
}

static void fail(const char* what) {
    fprintf(stderr, "window_watcher: %s\n", what);
    exit(1);
}

/* FNV-1a over both columns. */
static uint64_t picture(void) {
    xcb_get_image_cookie_t cookies[2];
    for (int i = 0; i < 2; ++i)
        cookies[i] = xcb_get_image(server, XCB_IMAGE_FORMAT_Z_PIXMAP, root, (int16_t)columns[i], (int16_t)top, kWidth,
                                   (uint16_t)height, ~0U);
    uint64_t sum = UINT64_C(14695981039346656037);
    for (int i = 0; i < 2; ++i) {
        xcb_get_image_reply_t* const reply = xcb_get_image_reply(server, cookies[i], NULL);
        if (!reply)
            fail("the screen cannot be read");
        const uint32_t* const pixels = (const uint32_t*)xcb_get_image_data(reply);
        for (int at = 0; at < xcb_get_image_data_length(reply) / 4; ++at)
            sum = (sum ^ pixels[at]) * UINT64_C(1099511628211);
        free(reply);
    }
    return sum;
}

static void watch(void) {
    const uint64_t before = picture();
    puts("ready");
    uint64_t last = before;
    int64_t first = 0, final = 0;
    int pictures = 0;
    for (;;) {
        const uint64_t current = picture();
        const int64_t when = now();
        if (current != last) {
            last = current;
            final = when;
            first = first ? first : when;
            ++pictures;
        } else if (final && when - final > kSettled * INT64_C(1000000)) {
            break;
        }
        usleep(200);
    }
    printf("%lld %lld %d\n", (long long)first, (long long)final, pictures);
}

static xcb_atom_t atom(const char* name) {
    xcb_intern_atom_reply_t* const reply =
        xcb_intern_atom_reply(server, xcb_intern_atom(server, 0, (uint16_t)strlen(name), name), NULL);
    const xcb_atom_t result = reply ? reply->atom : XCB_ATOM_NONE;
    free(reply);
    return result;
}

static int closeBelow(xcb_window_t window, const char* class) {
    int count = 0;
    xcb_get_window_attributes_reply_t* const attributes =
        xcb_get_window_attributes_reply(server, xcb_get_window_attributes(server, window), NULL);
    xcb_get_property_reply_t* const name = xcb_get_property_reply(
        server, xcb_get_property(server, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64), NULL);
    const int isOne = name && xcb_get_property_value_length(name) > (int)strlen(class)
        && strcmp(xcb_get_property_value(name), class) == 0;
    if (isOne && attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE) {
        xcb_client_message_event_t message = {.response_type = XCB_CLIENT_MESSAGE, .format = 32, .window = window};
        message.type = atom("WM_PROTOCOLS");
        message.data.data32[0] = atom("WM_DELETE_WINDOW");
        xcb_send_event(server, 0, window, XCB_EVENT_MASK_NO_EVENT, (const char*)&message);
        ++count;
    }
    free(attributes);
    free(name);
    xcb_query_tree_reply_t* const tree = xcb_query_tree_reply(server, xcb_query_tree(server, window), NULL);
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree); ++i)
        count += closeBelow(xcb_query_tree_children(tree)[i], class);
    free(tree);
    return count;
}

int main(void) {
    server = xcb_connect(NULL, NULL);
    if (xcb_connection_has_error(server))
        fail("no X server");
    root = xcb_setup_roots_iterator(xcb_get_setup(server)).data->root;
    setvbuf(stdout, NULL, _IOLBF, 0);
    char line[256];
    while (fgets(line, sizeof line, stdin)) {
        line[strcspn(line, "\n")] = '\0';
        if (sscanf(line, "watch %d %d %d %d", &top, &height, &columns[0], &columns[1]) == 4) {
            watch();
        } else if (strncmp(line, "close ", 6) == 0) {
            while (closeBelow(root, line + 6) > 0)
                usleep(20000);
            puts("gone");
        }
    }
    return 0;
}
