// The program around the example of README.md, which stands in a file of its own, as it is printed.
void ReportOneEvent(void);

int main(void) {
  ReportOneEvent();
  return 0;
}
