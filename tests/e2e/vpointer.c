// Gives a headless sway seat a pointer. A seat without input devices ignores
// "swaymsg seat seat0 cursor ..."; once this client has created a virtual pointer, those
// commands move and click like a mouse. Prints "ready" when the pointer exists, then stays
// connected until it is killed or the compositor goes away.
#include <stdio.h>
#include <string.h>
#include <wayland-client.h>

#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

static struct wl_seat *seat;
static struct zwlr_virtual_pointer_manager_v1 *manager;

static void on_global(void *data, struct wl_registry *registry, uint32_t name,
                      const char *interface, uint32_t version)
{
    (void)data;
    (void)version;
    if (!seat && strcmp(interface, wl_seat_interface.name) == 0)
        seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
    else if (strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0)
        manager = wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1);
}

// Globals that go away do not matter for the life of this program.
static void on_global_remove(void *data, struct wl_registry *registry, uint32_t name)
{
    (void)data;
    (void)registry;
    (void)name;
}

static const struct wl_registry_listener registry_listener = {on_global, on_global_remove};

int main(void)
{
    struct wl_display *display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "vpointer: cannot connect to the Wayland display\n");
        return 1;
    }
    wl_registry_add_listener(wl_display_get_registry(display), &registry_listener, NULL);
    wl_display_roundtrip(display);
    if (!manager) {
        fprintf(stderr, "vpointer: the compositor has no zwlr_virtual_pointer_manager_v1\n");
        return 1;
    }
    zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager, seat);
    if (wl_display_roundtrip(display) < 0) {
        fprintf(stderr, "vpointer: the compositor refused the virtual pointer\n");
        return 1;
    }
    printf("ready\n");
    fflush(stdout);
    // The pointer lives as long as the connection.
    while (wl_display_dispatch(display) != -1) {
    }
    return 0;
}
