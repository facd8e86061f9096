// Sample of a room: what its test notices and what not is known.
int limited(int value) {
    if (value > 10)
        return 10;
    return value;
}

static void step_down(int &value) {
    value -= 1;
}

void count_down(int &value) {
    while (value > 0)
        step_down(value);
}
