// SPDX-License-Identifier: MIT

// Has the headers compiled that the tests share; the program is not run.

int main()
{
    return 0;
}
