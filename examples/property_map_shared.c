/* A property map in shared memory, used from C by two processes.
 *
 * The first process fills the map and starts the second one, which wraps the same bytes, checks them once, reads and
 * changes them. Nothing is converted and nothing is copied. */
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/property_map.h"

enum { MAP_SIZE = 4096 };

enum Key { KEY_VOLUME = 1, KEY_TITLE = 2, KEY_MUTED = 3 };

static void fill(uint8_t* bytes)
{
    property_map* map = property_map_create(bytes, MAP_SIZE);
    property_map_insert_int(map, KEY_VOLUME, 7);
    property_map_insert_string(map, KEY_TITLE, "Aria");
    property_map_insert_bool(map, KEY_MUTED, false);
    property_map_free(map);
}

/* What the second process does. */
static int readAndChange(uint8_t* bytes)
{
    int32_t volume = 0;
    const char* title = NULL;
    if (!property_map_is_well_formed(bytes, MAP_SIZE))
        return 1;
    property_map* map = property_map_create_by_map_buffer(bytes);
    if (property_map_get_int(map, KEY_VOLUME, &volume) != PM_RC_OK ||
        property_map_get_string_ref(map, KEY_TITLE, &title) != PM_RC_OK)
        return 1;
    printf("second process reads: %s at %d\n", title, volume);
    property_map_set_int(map, KEY_VOLUME, volume + 1);
    property_map_set_string(map, KEY_TITLE, "Intermezzo");
    property_map_set_bool(map, KEY_MUTED, true);
    property_map_free(map);
    return fflush(stdout) == 0 ? 0 : 1;
}

static int showChanges(uint8_t* bytes)
{
    int32_t volume = 0;
    bool muted = false;
    char title[16] = "";
    property_map* map = property_map_create_by_map_buffer(bytes);
    property_map_get_int(map, KEY_VOLUME, &volume);
    property_map_get_bool(map, KEY_MUTED, &muted);
    property_map_get_string(map, KEY_TITLE, title, sizeof(title));
    property_map_free(map);
    printf("first process reads: %s at %d%s\n", title, volume, muted ? ", muted" : "");
    return 0;
}

int main(void)
{
    int status = 1;
    uint8_t* bytes = mmap(NULL, MAP_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (bytes == MAP_FAILED)
        return 1;
    fill(bytes);
    const pid_t second = fork();
    if (second == 0)
        _exit(readAndChange(bytes));
    if (second < 0 || waitpid(second, &status, 0) != second || status != 0)
        return 1;
    return showChanges(bytes);
}
