/* The program the gallery's "Disassembly" page runs under the debugger:
 * an integer loop, an x87 loop, an SSE loop and a text buffer, built -g -O0
 * so that the source lines stand beside their code. */
#include <string.h>

volatile long checksum;
char text_buffer[96] = "ASCII text, UTF-8 \xc3\xa9\xc3\xa0\xe2\x82\xac and a counter: 0";

long integer_loop(int n) {
    long sum = 0;
    for (int i = 1; i <= n; ++i)
        sum += (long)i * i ^ (sum >> 3);
    return sum;
}

long double x87_loop(int n) {
    long double acc = 1.0L;
    for (int i = 1; i <= n; ++i)
        acc = acc * 1.0001L + 1.0L / i;
    return acc;
}

double sse_loop(int n) {
    double x = 1.5;
    float f = 0.25f;
    for (int i = 0; i < n; ++i) {
        x = x * 0.5 + 1.25;
        f += (float)x;
    }
    return x + f;
}

void fill_text(int round) {
    size_t len = strlen(text_buffer);
    text_buffer[len - 1] = (char)('0' + round % 10);
}

int main(void) {
    for (int round = 0; round < 1000; ++round) {
        checksum += integer_loop(100);
        checksum += (long)x87_loop(50);
        checksum += (long)sse_loop(20);
        fill_text(round);
    }
    return (int)(checksum & 0x3f);
}
