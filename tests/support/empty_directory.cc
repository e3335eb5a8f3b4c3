// Removes what earlier tests have left in the private directory.

#include "support/directory.h"

int main() {
  test::Directory::find().value().clear();
}
