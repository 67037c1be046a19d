/** What it costs to start and end a program that the dynamic linker loads. */
int main(void)
{
    return 0;
}
