/* The program the debug host tests drive: a call in a loop, a known exit
 * code. Built with -g -O0 so that every line has its own code. */
volatile int sink;

int add(int a, int b) {
    int c = a + b;
    return c * 2;
}

int main(void) {
    int total = 0;
    for (int i = 0; i < 3; ++i)
        total += add(i, 1);
    sink = total;
    return total == 12 ? 7 : 1;
}
