// Prints the year, and how many milliseconds of real time a sleep, a timer and four ticks of a quarter second took.
package main

import (
	"fmt"
	"time"
)

func main() {
	fmt.Println(time.Now().Year())
	begin := time.Now()
	time.Sleep(time.Second)
	<-time.NewTimer(time.Second).C
	ticker := time.NewTicker(time.Second / 4)
	for i := 0; i < 4; i++ {
		<-ticker.C
	}
	fmt.Println(int(time.Since(begin).Seconds() + 0.3))
	fmt.Println(time.Now().Year())
}
