package main

// #include <time.h>
// static long seconds(void) { return time(0); }
import "C"

import (
	"bufio"
	"fmt"
	"os"
	"time"
)

func main() {
	for lines := bufio.NewScanner(os.Stdin); lines.Scan(); {
		fmt.Println(time.Now().Unix(), C.seconds())
	}
}
