// SPDX-License-Identifier: Apache-2.0

// A program that does nothing, and a library that offers nothing else.

int main() {
  return 0;
}
