/* Stand-in for a library of the right name that is something else: it has none of the entries. */
__attribute__((visibility("default"))) int SomethingElse(void)
{
    return 0;
}
