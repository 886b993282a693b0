/* A plugin for qemu-arm and its relatives: how many instructions ran in each block of code. On exit it writes a line
 * for each block, its address and the count, to the file FILE of `-plugin count_blocks.so,out=FILE`. See bench/counts.
 */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* What we use of qemu-plugin.h, which distributions do not install: version 1 of the interface. */
typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum { PLUGIN_VERSION = 1, INLINE_ADD = 0 };
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t, void (*)(qemu_plugin_id_t, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb*, int operation, void* counter, uint64_t value);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t, void (*)(qemu_plugin_id_t, void*), void*);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb*);
uint64_t qemu_plugin_tb_vaddr(const struct qemu_plugin_tb*);

#define EXPORT __attribute__((visibility("default")))
EXPORT extern int qemu_plugin_version;
EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv);

int qemu_plugin_version = PLUGIN_VERSION;

/* Code may be translated more than once, each time as a block of its own. */
struct block
{
    uint64_t address;
    uint64_t instructions;
    uint64_t runs;
    struct block* next;
};

static struct block* blocks;
static FILE* output;

static void on_translated(qemu_plugin_id_t id, struct qemu_plugin_tb* tb)
{
    (void)id;
    struct block* const added = calloc(1, sizeof(*added));
    if (added == NULL)
        abort();
    added->address = qemu_plugin_tb_vaddr(tb);
    added->instructions = qemu_plugin_tb_n_insns(tb);
    added->next = blocks;
    blocks = added;
    qemu_plugin_register_vcpu_tb_exec_inline(tb, INLINE_ADD, &added->runs, 1);
}

static void on_exit_of_program(qemu_plugin_id_t id, void* unused)
{
    (void)id;
    (void)unused;
    for (const struct block* block = blocks; block != NULL; block = block->next)
        fprintf(output, "%" PRIx64 " %" PRIu64 "\n", block->address, block->runs * block->instructions);
    fclose(output);
}

int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv)
{
    (void)info;
    if (argc != 1 || strncmp(argv[0], "out=", 4) != 0 || (output = fopen(argv[0] + 4, "w")) == NULL)
        return 1;
    qemu_plugin_register_vcpu_tb_trans_cb(id, on_translated);
    qemu_plugin_register_atexit_cb(id, on_exit_of_program, NULL);
    return 0;
}
