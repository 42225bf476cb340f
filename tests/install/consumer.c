/* A plain C user of the installed library. */
#include <lumiva/lumiva.h>
#include <stdio.h>

int main(void)
{
    unsigned char a[4] = {1, 2, 3, 250}, b[4] = {4, 4, 4, 10}, d[4];
    if (lmvSetOperationMode(LUMIVA_OP_CPU_PERFORMANCE) != 0) return 1;
    lmvAbsDiffu8(a, b, 4, 1, 0, d, 0);
    if (d[0] != 3 || d[3] != 240) return 2;
    if (lmvAddu8(a, 4, 1, 0, b, 0, LUMIVA_OVERFLOW_SATURATE, d, 0) != LUMIVA_SUCCESS || d[3] != 255) return 3;
    puts("installed library works");
    return 0;
}
