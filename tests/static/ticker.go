package main

import (
	"bufio"
	"fmt"
	"os"
	"time"
)

func main() {
	for lines := bufio.NewScanner(os.Stdin); lines.Scan(); {
		fmt.Println(time.Now().Unix())
	}
}
