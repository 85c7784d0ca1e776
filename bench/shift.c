/*
 * Linked ahead of a program's other code, which so begins SHIFT bytes further on: a multiple of 16, within a line of
 * the processor's cache.
 */
__asm__(".text\n.p2align 6\n.skip " SHIFT "\n");
