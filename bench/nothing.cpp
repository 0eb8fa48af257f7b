// SPDX-License-Identifier: Apache-2.0

// An empty program, and an empty library.

int main() {
  return 0;
}
