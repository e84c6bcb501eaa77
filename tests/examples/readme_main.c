// Calls the example of README.md, which the build copies to a file of its own.
void ReportOneEvent(void);

int main(void) {
  ReportOneEvent();
  return 0;
}
