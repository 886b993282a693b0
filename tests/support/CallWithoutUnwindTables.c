/* Compiled without unwind tables: the unwinding of a thread that is cancelled in `function` ends here, and leaves the
 * frames above as they are. The product's unwinder does this by itself now and then. */
void callWithoutUnwindTables(void (*function)(void));

void callWithoutUnwindTables(void (*function)(void))
{
    function();
    __asm__ volatile(""); /* no tail call, which would leave no frame */
}
